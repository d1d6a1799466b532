// Plays a scenario in real time and records it with the real recorder: a reference for hosts that
// record a conference.
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
#include "host/conference/conference_run.h"
#include "host/conference/recorded_files.h"
#include "host/conference/recording_watch.h"
#include "host/scenario/scenario.h"
#include "kxrtc/recording/speaker_recorder.h"
#include "record/speakers/speaker_timeline_writer.h"

namespace kxrtc_host {

class Conference final : public ConferenceRun {
 public:
  // The arguments outlive the object.
  Conference(const Scenario& scenario, const ConferenceOptions& options,
             ConferenceObserver* observer);
  ~Conference() override;
  Conference(const Conference&) = delete;
  Conference& operator=(const Conference&) = delete;

  [[nodiscard]] ConferenceOutcome Run(std::string* error) override;
  void RequestStop() override;
  const ConferenceProgress& result() const override { return progress_; }

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
  void ReportTimelineFailure();
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
  SpeakerTimelineWriter timeline_{&watch_};
  bool timeline_failure_told_ = false;
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
