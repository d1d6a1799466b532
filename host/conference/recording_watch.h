// Keeps the recorder's reports until the conference asks for them: who is selected and why, what
// the record contains and what could not be written. Threads: any; the recorder calls on its task
// thread.
#ifndef HOST_CONFERENCE_RECORDING_WATCH_H_
#define HOST_CONFERENCE_RECORDING_WATCH_H_

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "files/byte_digest.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "kxrtc/recording/speaker_recorder_listener.h"

namespace kxrtc_host {

// Who is recorded, from this time on.
struct RecorderSelection {
  uint32_t ssrc = 0;        // 0: no video.
  uint32_t user_id = 0;     // 0: nobody.
  uint32_t media_type = 0;  // PeerConnectionConductor::media_type.
  std::string reason;
};

// The content of a record.
struct RecordCounts {
  uint64_t sessions = 0;
  uint64_t switches = 0;
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  uint64_t video_bytes = 0;
  uint64_t audio_bytes = 0;
  uint64_t index_bytes = 0;
  ByteDigest index_digest;     // Of these bytes.
  uint64_t failed_writes = 0;  // Frames and index records that are missing.
  int64_t stop_us = 0;         // Recorder time of the last stop; 0: none.
};

class RecordingWatch final : public kxrtc::SpeakerRecorderListener {
 public:
  static constexpr size_t kMaxFailures = 1000;  // More are dropped until these are taken.

  // Waits until a session has started. False after the timeout, or at once when something could not
  // be written.
  bool WaitForSession(int64_t timeout_us);

  RecordCounts counts() const;

  // Return what came since the last call: changes of the selection, and one line for each failed
  // write.
  std::vector<RecorderSelection> TakeSelections();
  std::vector<std::string> TakeFailures();

  // SpeakerRecorderListener:
  void OnRecordingStarted(int64_t timestamp_us) override;
  void OnRecordingStopped(int64_t timestamp_us) override;
  void OnChannelSelected(const kxrtc::SelectedChannel& channel) override;
  void OnAttributesWritten(const kxrtc::WrittenAttributes& attributes) override;
  void OnFrameWritten(const kxrtc::WrittenFrame& frame) override;
  void OnWriteFailed(const kxrtc::FailedWrite& write) override;

 private:
  // Counts the index record of `type` with its payload, which a record without one has not.
  template <typename... Payload>
  void CountRecord(uint32_t type, int64_t timestamp_us, const Payload&... payload);

  mutable std::mutex lock_;
  std::condition_variable told_;
  RecordCounts counts_;
  std::vector<RecorderSelection> selections_;
  std::vector<std::string> failures_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_RECORDING_WATCH_H_
