// Plays a scenario in real time and records it with the real recorder: a reference for hosts that
// record a conference.
// Threads: Run() occupies one thread, the control thread; the observer is called on it.
// RequestStop() may be called from any.
#ifndef HOST_CONFERENCE_CONFERENCE_H_
#define HOST_CONFERENCE_CONFERENCE_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/folder_lock.h"
#include "host/conference/conference_audio_factory.h"
#include "host/conference/conference_member.h"
#include "host/conference/recorded_files.h"
#include "host/conference/recording_watch.h"
#include "host/conference/scenario.h"
#include "kxrtc/recording/speaker_recorder.h"

namespace kxrtc_host {

enum class ConferenceOutcome {
  kComplete,          // The record is complete.
  kSourceUnreadable,  // From here to kStartFailed nothing was recorded.
  kSourceRefused,     // A codec other than H.264.
  kRecordExists,
  kFolderFailed,
  kStartFailed,
  kCancelled,      // Stopped while the sources were being opened.
  kWriteFailed,    // The recording ended early; the part before that is valid.
  kRecordDamaged,  // What is on the disk is not what was recorded.
};

struct ConferenceOptions {
  std::string folder;  // Of the record, with a trailing separator; created if missing.
  bool replace_record = false;
  std::optional<int64_t> duration_us;  // Overrides the scenario.
  int64_t open_timeout_us = 15000000;  // For each source.
  MediaTap* tap = nullptr;             // May be null; outlives the conference.
};

struct ConferenceProgress {
  int64_t time_us = 0;  // Since the start of the conference.
  RecordCounts counts;
  uint32_t queued_tasks = 0;  // Waiting in the recorder.
};

// Receives the events. The operations do nothing unless they are overridden.
class ConferenceObserver {
 public:
  virtual ~ConferenceObserver() = default;
  virtual void OnStarted() {}
  virtual void OnAction(int64_t /*time_us*/, const ScenarioParticipant& /*participant*/,
                        ScenarioAction /*action*/) {}
  // `participant` is null when nobody is recorded.
  virtual void OnSelection(int64_t /*time_us*/, const RecorderSelection& /*selection*/,
                           const ScenarioParticipant* /*participant*/) {}
  virtual void OnNotice(int64_t /*time_us*/, const std::string& /*text*/) {}
  virtual void OnProgress(const ConferenceProgress& /*progress*/) {}  // Every 100 ms.
};

class Conference {
 public:
  // The arguments outlive the object.
  Conference(const Scenario& scenario, const ConferenceOptions& options,
             ConferenceObserver* observer);
  ~Conference();  // Ends the media. Waits for a source that does not come back from the system.
  Conference(const Conference&) = delete;
  Conference& operator=(const Conference&) = delete;

  // Runs the whole conference. Call once. Except for kComplete and kCancelled, `*error` says why in
  // one line. Waits for no source that does not come back from the system.
  [[nodiscard]] ConferenceOutcome Run(std::string* error);

  // Ends the conference now; the record is completed.
  void RequestStop();

  // When the conference ended and what the record contains, after Run().
  const ConferenceProgress& result() const { return progress_; }

 private:
  struct DueEvent {
    int64_t at_us;
    size_t member;
    ScenarioAction action;
  };

  ConferenceOutcome OpenSources(std::string* error);
  ConferenceOutcome CheckFolder(std::string* error);
  ConferenceOutcome LockFolder(std::string* error);
  ConferenceOutcome CheckForRecord(std::string* error) const;
  ConferenceOutcome PrepareFolder(std::string* error);
  ConferenceOutcome StartRecorder(std::string* error);
  ConferenceOutcome Play(std::string* error);
  void Finish();
  ConferenceOutcome Judge(ConferenceOutcome outcome, std::string* error) const;

  void Carry(const DueEvent& event);
  void AnnounceVideo(bool local);
  void AnnounceVoices();
  void AnnounceLocalMicrophone();
  void Report();
  void WarnOfMissingFiles(int64_t time_us);
  bool IsOver(int64_t time_us) const;
  bool RecordingFailed(std::string* error);
  void DescribeWriteFailure(std::string* error) const;
  int64_t TimeUs() const { return clock_.NowUs() - start_us_; }
  const ScenarioParticipant* FindParticipant(uint32_t user_id) const;

  const Scenario& scenario_;
  const ConferenceOptions options_;
  ConferenceObserver* const observer_;
  std::optional<int64_t> duration_us_;

  FolderLock folder_lock_;  // From before the first change in the folder until the end.
  RecordedFiles files_;
  int64_t next_look_us_ = 0;  // At the files.
  bool missing_noticed_ = false;
  ConferenceClock clock_;
  AudioRoom room_;
  Notices notices_;
  RecordingWatch watch_;
  ConferenceAudioFactory audio_factory_;
  kxrtc::SpeakerRecorder recorder_;
  std::vector<std::unique_ptr<ConferenceMember>> members_;
  SourceOpening opening_;         // Behind the members, whose sources it opens.
  std::vector<DueEvent> events_;  // In time order.
  size_t next_event_ = 0;
  int64_t start_us_ = 0;      // Of the scenario, on `clock_`.
  bool local_muted_ = false;  // As announced to the recorder.
  bool started_ = false;      // The recording; the conference plays from then on.
  ConferenceProgress progress_;
  StopSignal stop_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_CONFERENCE_H_
