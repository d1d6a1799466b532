// The transcoder's interface: replays a speaker record into an MP4 writer of the host.
// CreateSpeakerRecordTranscoder() (rtc_transcoder/api/rtc_transcoder.h) makes one.
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_TRANSCODER_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_TRANSCODER_H_

#include <cstdint>

#include "kx_utility/export.h"

namespace kxrtc {

class MediaComponentFactory;

// Values of SpeakerRecordTranscoderObserver::OnTranscodeError.
enum TranscodeErrorCode : int32_t {
  kTranscodeErrorOpenRecord = 1,   // One of the record's files or its descriptor.
  kTranscodeErrorWriter = 2,       // The writer reported kMp4SinkWriterFatalError.
  kTranscodeErrorStartWriter = 3,  // The writer could not be created or started.
  kTranscodeErrorReplay = 4,       // The replay failed, or no thread could be started for it;
                                   // what was pushed so far stays.
};

// Host-implemented. No function may throw: an exception that leaves one ends the process. Slot
// order is binary interface: append only.
class KX_EXPORT SpeakerRecordTranscoderObserver {
 public:
  // Worker thread, at most about once a second. `progress`: whole percent of the index consumed;
  // `position`: bytes of it.
  virtual void OnTranscodeProgress(uint32_t progress, uint32_t position) = 0;

  // Worker thread: the whole record was pushed. The file is finished by StopTranscoding(), which
  // the control thread calls (never this callback: it would wait for itself).
  virtual void OnTranscodeCompleted() = 0;

  // `error_code`: a TranscodeErrorCode. 1 and 3 come on the thread inside StartTranscoding(), 4 on
  // the worker thread (inside StartTranscoding() when there is none), 2 on whatever thread the
  // writer reports on.
  virtual void OnTranscodeError(int32_t error_code) = 0;

 protected:
  ~SpeakerRecordTranscoderObserver() = default;
};

// Threads: all operations on one control thread at a time. Strings are copied; a folder path ends
// in its separator, since file names are appended to it as they are. A null path counts as an empty
// one: a folder of "" names the files in the working directory. Nothing is thrown: an operation for
// which memory runs out logs that and answers false. Slot order is binary interface: append only.
class KX_EXPORT SpeakerRecordTranscoder {
 public:
  // About how many bytes the MP4 will have, from the descriptor alone: the audio duration times the
  // configured video bit rate (audio bytes are not counted). `*size` is 0 when the result is false.
  virtual bool EstimateOutputSize(const char* media_record_folder_path, long long* size) = 0;

  // Opens the record, starts a writer of `factory` and replays on a worker thread. A transcoding
  // that is under way or finished is discarded first. False: the observer was told why.
  // `observer` and `factory` are borrowed until the next stop, start or release.
  virtual bool StartTranscoding(const char* media_record_folder_path, const char* output_path,
                                SpeakerRecordTranscoderObserver* observer,
                                MediaComponentFactory* factory) = 0;

  // Intended: both only record the wish; the replay goes on. False when nothing was started.
  virtual bool PauseTranscoding() = 0;
  virtual bool ResumeTranscoding() = 0;

  // Ends the replay at the next index record, finishes the file and releases the writer. Ends
  // without a callback. Always true; harmless when nothing was started.
  virtual bool StopTranscoding() = 0;

  // Settings for the next writer that is created; always true.
  virtual bool SetTRVVlogPath(const char* log_path) = 0;
  virtual bool SetD3dManger(void* d3d11m,
                            void* d3d9m) = 0;   // sic; handles pass through as they are
  virtual bool SetPreferHW(bool preferHW) = 0;  // Initially true.

  // Forwarded to the present writer; false when there is none.
  virtual bool SetDx9Caps(int caps) = 0;
  virtual bool GetDx9Caps(int* caps) = 0;
  virtual bool GetDx9CapsType(int* type) = 0;

  // Stops like StopTranscoding().
  virtual ~SpeakerRecordTranscoder() = default;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORD_TRANSCODER_H_
