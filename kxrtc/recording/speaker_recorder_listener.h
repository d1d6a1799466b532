// The reports of a recorder about its record: one call for each record of the index, with the same
// values, and one for each failed write (docs/embedding_recorder.md).
#ifndef KXRTC_RECORDING_SPEAKER_RECORDER_LISTENER_H_
#define KXRTC_RECORDING_SPEAKER_RECORDER_LISTENER_H_

#include <cstdint>

#include "kx_utility/export.h"

namespace kxrtc {

// Why the recorder switched to a channel.
enum class SelectionReason : uint32_t {
  kNone = 0,             // Never reported.
  kVideoTurnedOff,       // The recorded channel is gone; now its user without video, or nobody.
  kSpeakerWithoutVideo,  // Speaks, and the recorded user does not.
  kMicrophoneTurnedOff,  // Nobody is recorded: the user had no video, and now no microphone.
  kDesktopShared,        // A desktop share has priority.
  kVideoTurnedOn,        // The recorded user had no video so far.
  kNobodyRecorded,       // The first picture, of a silent user: better than nothing.
  kAnotherSpeaker,       // Has video and speaks, and the recorded user does not.
};

// A channel-switch record. The order of the fields of these structures is binary interface.
struct SelectedChannel {
  int64_t timestamp_us = 0;  // Recorder time as in the index; likewise below.
  uint32_t ssrc = 0;         // 0: no video.
  uint32_t user_id = 0;      // 0: nobody.
  uint32_t media_type = 0;   // PeerConnectionConductor::media_type.
  SelectionReason reason = SelectionReason::kNone;
};

// A video-attributes record.
struct WrittenAttributes {
  int64_t timestamp_us = 0;
  uint32_t rotation_angle = 0;  // Degrees clockwise.
  uint32_t width = 0;           // Pixels.
  uint32_t height = 0;
};

enum class RecordFile : uint32_t { kVideo, kAudio, kIndex };

// A frame: its data record and its bytes in the video or the audio file.
struct WrittenFrame {
  int64_t timestamp_us = 0;
  uint64_t start_position = 0;  // In its file.
  uint32_t size = 0;            // Bytes.
  RecordFile file = RecordFile::kVideo;
};

// A frame or an index record that could not be written.
struct FailedWrite {
  uint32_t size = 0;  // Bytes that should have been written.
  RecordFile file = RecordFile::kVideo;
  // The short write was undone, and the recording is about to stop. False: the file has no position
  // or cannot be moved back, and the recording goes on.
  bool stops_recording = false;
};

// Implemented by the host, which overrides what it wants to know. Each function is called on the
// recorder's task thread, in the order of the index, with no lock held. It may call every entry of
// the recorder but Initialize() and Finalize(), must not wait for a thread that is inside an entry,
// and delays the writing while it runs. An exception that leaves it ends the process.
// Slot order is binary interface: append only.
class KX_EXPORT SpeakerRecorderListener {
 public:
  // A session has started: frames that arrive from now on are recorded.
  virtual void OnRecordingStarted(int64_t /*timestamp_us*/) {}

  // The session ended with its stop record. Not called when that could not be written, or when
  // Finalize() ends a recording that was not stopped.
  virtual void OnRecordingStopped(int64_t /*timestamp_us*/) {}

  virtual void OnChannelSelected(const SelectedChannel& /*channel*/) {}
  virtual void OnAttributesWritten(const WrittenAttributes& /*attributes*/) {}
  virtual void OnFrameWritten(const WrittenFrame& /*frame*/) {}
  virtual void OnWriteFailed(const FailedWrite& /*write*/) {}

 protected:
  ~SpeakerRecorderListener() = default;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORDER_LISTENER_H_
