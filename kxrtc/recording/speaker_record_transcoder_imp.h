// The transcoder: opens a speaker record, starts the host's MP4 writer and replays the record into
// it on a worker thread.
// Threads: control operations on one control thread at a time; Run() and everything below it on the
// worker thread; OnError() on any thread of the writer. Finalize() joins the worker before it
// touches the writer and the files.
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_TRANSCODER_IMP_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_TRANSCODER_IMP_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "kx_utility/raw_buffer.h"
#include "kx_utility/runnable.h"
#include "kx_utility/sequential_reader.h"
#include "kx_utility/stop_watch.h"
#include "kx_utility/thread.h"
#include "kxrtc/recording/media_component_factory.h"
#include "kxrtc/recording/mp4_sink_writer.h"
#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "kxrtc/recording/speaker_record_transcoder.h"

namespace kxrtc {

// The bytes of a frame, wherever they lie. Without any, `data` is null.
struct FrameBytes {
  const uint8_t* data = nullptr;
  uint32_t size = 0;
};

class SpeakerRecordTranscoderImp : public SpeakerRecordTranscoder,
                                   public kx_utility::Runnable,
                                   public Mp4SinkWriterObserver {
 public:
  SpeakerRecordTranscoderImp() = default;
  ~SpeakerRecordTranscoderImp() override;

  // SpeakerRecordTranscoder:
  bool EstimateOutputSize(const char* media_record_folder_path, long long* size) override;
  bool StartTranscoding(const char* media_record_folder_path, const char* output_path,
                        SpeakerRecordTranscoderObserver* observer,
                        MediaComponentFactory* factory) override;
  bool PauseTranscoding() override;
  bool ResumeTranscoding() override;
  bool StopTranscoding() override;
  bool SetTRVVlogPath(const char* log_path) override;
  bool SetD3dManger(void* d3d11m, void* d3d9m) override;
  bool SetPreferHW(bool preferHW) override;
  bool SetDx9Caps(int caps) noexcept override;
  bool GetDx9Caps(int* caps) noexcept override;
  bool GetDx9CapsType(int* type) noexcept override;

  // Runnable:
  void Run(kx_utility::Thread* thread) noexcept override;
  void Stop() override;

  // Mp4SinkWriterObserver:
  void OnStateChanged(MediaComponentState state) override;
  void OnError(Mp4SinkWriterErrorCode error_code) override;
  void OnEvent(unsigned int event_code, void* parameter1, void* parameter2) override;

 private:
  // State of one recording session's replay.
  struct MediaSession {
    kx_utility::StopWatch progress_watch;
    kx_utility::RawBuffer large_frame;  // Reused for every frame that is too large for a block.
    bool need_key_frame = true;
    bool icon_attributes_active = false;  // The writer is set to the icon picture's attributes.
  };

  // What calls into the host is noexcept: an exception of the host ends the process there.
  bool Initialize(const char* media_record_folder_path, const char* output_path,
                  SpeakerRecordTranscoderObserver* observer, MediaComponentFactory* factory);
  void Finalize() noexcept;
  bool OpenSpeakerRecord(const std::string& folder);
  bool CreateMp4SinkWriter(const char* output_path, bool is_desktop) noexcept;
  bool StartWorker();
  void NotifyError(TranscodeErrorCode error_code) noexcept;
  bool IsThreadStopped() const { return stop_requested_.load(std::memory_order_acquire); }

  // The replay, speaker_record_transcoder_imp_replay.cc.
  bool TranscodeLoop();
  bool StartMediaSession();
  bool ProcessMediaSession();
  bool ReportProgress(MediaSession* session) noexcept;
  bool ProcessNewChannel(const SpeakerRecordHeader& header, MediaSession* session);
  bool ProcessNewVideoAttributes(const SpeakerRecordHeader& header, MediaSession* session);
  bool ProcessVideoData(const SpeakerRecordHeader& header, MediaSession* session);
  bool ProcessAudioData(const SpeakerRecordHeader& header, MediaSession* session);
  bool FillVideoGap(int64_t record_timestamp_us, MediaSession* session);
  bool SetIconAttributes(MediaSession* session) noexcept;
  bool SetStoredAttributes(MediaSession* session) noexcept;
  bool PushVideoData(const FrameBytes& frame, int64_t record_timestamp_us) noexcept;
  bool PushAudioData(const FrameBytes& frame, int64_t record_timestamp_us) noexcept;
  bool PushIconOnlyFrames(long long record_timestamp_us);

  // Reading of the index and the data files, speaker_record_transcoder_imp_read.cc. Each reads from
  // the present position and is false when fewer bytes are left than it asks for.
  template <typename Record>
  bool ReadIndexBlock(Record* record);
  bool GetNextRecordHeader(SpeakerRecordHeader* header);
  bool GetNewChannelRecord(NewChannelRecord* record);
  bool GetNewVideoAttributesRecord(NewVideoAttributesRecord* record);
  bool GetVideoDataRecord(VideoDataRecord* record);
  bool GetAudioDataRecord(AudioDataRecord* record);
  bool ReadVideoData(const VideoDataRecord& record, kx_utility::RawBuffer* buffer,
                     FrameBytes* frame);
  bool ReadAudioData(const AudioDataRecord& record, kx_utility::RawBuffer* buffer,
                     FrameBytes* frame);

  std::atomic<bool> initialized_{false};
  std::atomic<bool> stop_requested_{false};
  bool video_pushed_ = false;
  kx_utility::Thread worker_;
  std::atomic<SpeakerRecordTranscoderObserver*> observer_{nullptr};
  MediaComponentFactory* mc_factory_ = nullptr;
  kx_utility::SequentialReader video_file_;
  kx_utility::SequentialReader audio_file_;
  kx_utility::SequentialReader index_file_;
  uint64_t index_file_size_ = 0;
  Mp4SinkWriter* mp4_sink_writer_ = nullptr;

  // Intended: both live as long as the object. A second start continues the output time of the
  // first.
  ReplayClock clock_;
  uint32_t channel_media_type_ = 0;  // 0: no video.

  SpeakerRecordDescReader desc_reader_;
  SpeakerRecordOverall overall_;
  NewVideoAttributesRecord video_attributes_;
  std::string log_path_;
  void* d3d9_manager_ = nullptr;
  void* d3d11_manager_ = nullptr;
  bool prefer_hw_ = true;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORD_TRANSCODER_IMP_H_
