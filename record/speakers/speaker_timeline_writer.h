// Writes the speaker timeline while a recorder records: the host tells it the people, the recorder
// the rest. A host passes it to SpeakerRecorder::SetListener().
//
//   #include "kxrtc/recording/speaker_recorder.h"
//   SpeakerTimelineWriter timeline(nullptr);
//   SpeakerRecorder recorder;
//   std::string error;
//   if (!timeline.Create("monday/", "Weekly", &error)) return false;
//   recorder.SetListener(&timeline);
//
// Threads: all functions may be called from any. No call waits for the recorder.
#ifndef RECORD_SPEAKERS_SPEAKER_TIMELINE_WRITER_H_
#define RECORD_SPEAKERS_SPEAKER_TIMELINE_WRITER_H_

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kx_utility/export.h"
#include "kxrtc/recording/speaker_recorder_listener.h"
#include "record/speakers/timeline_format.h"

namespace kxrtc_host {

// Every line is written whole and at once, so what a killed process leaves ends at most in one torn
// line. A line that cannot be written, or for which there is no memory, ends the timeline, and the
// recording goes on. Only Create() and error() throw, std::bad_alloc.
class KX_EXPORT SpeakerTimelineWriter final : public kxrtc::SpeakerRecorderListener {
 public:
  // `next` gets every report of the recorder too; null: nobody. It outlives the writer.
  explicit SpeakerTimelineWriter(kxrtc::SpeakerRecorderListener* next) : next_(next) {}
  ~SpeakerTimelineWriter() { (void)Close(); }
  SpeakerTimelineWriter(const SpeakerTimelineWriter&) = delete;
  SpeakerTimelineWriter& operator=(const SpeakerTimelineWriter&) = delete;

  // Creates the file of the record in `folder`, which ends in its separator, before the recording
  // starts. Replaces a former one. An empty title is none. On false `*error` says why in one line.
  [[nodiscard]] bool Create(const std::string& folder, const std::string& title,
                            std::string* error);

  // Somebody came or went. False, and nothing is written, for user 0 and for a name that is not
  // UTF-8 or longer than kMaxPersonNameBytes. Who is present when a recording starts stands at its
  // start.
  [[nodiscard]] bool Join(uint32_t user_id, const std::string& name);
  void Leave(uint32_t user_id);

  // Replaces the list of those who speak.
  void SetSpeaking(const std::vector<uint32_t>& user_ids);

  // Syncs and closes the file. What comes later is not written. False if the timeline is not whole;
  // error() says why.
  [[nodiscard]] bool Close();

  // Why nothing is written any more, in one line with the file; empty while all is well.
  std::string error() const;

  // SpeakerRecorderListener:
  void OnRecordingStarted(int64_t timestamp_us) override;
  void OnRecordingStopped(int64_t timestamp_us) override;
  void OnChannelSelected(const kxrtc::SelectedChannel& channel) override;
  void OnAttributesWritten(const kxrtc::WrittenAttributes& attributes) override;
  void OnFrameWritten(const kxrtc::WrittenFrame& frame) override;
  void OnWriteFailed(const kxrtc::FailedWrite& write) override;

 private:
  // Runs `body` under the lock; everything below is called under it.
  template <typename Body>
  void Note(const Body& body);
  void NoteTime(int64_t timestamp_us);
  int64_t RecorderTimeUs() const;
  void Append(const std::string& line);
  void AppendJoined(int64_t time_us, uint32_t user_id);
  void AppendVoice(int64_t time_us, uint32_t user_id, bool on);
  void Fail(const std::string& what);
  void End();

  kxrtc::SpeakerRecorderListener* const next_;
  mutable std::mutex lock_;
  std::string path_;
  std::string error_;
  bool lacked_memory_ = false;
  int descriptor_ = -1;
  // Recorder time minus the system's clock. The recorder reads the same clock before it reports, so
  // the largest difference seen is the truth.
  std::optional<int64_t> offset_us_;
  bool started_ = false;
  std::map<uint32_t, std::string> present_;
  std::set<uint32_t> speaking_;
};

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_SPEAKER_TIMELINE_WRITER_H_
