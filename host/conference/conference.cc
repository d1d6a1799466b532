#include "host/conference/conference.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "host/ffmpeg/ffmpeg_log.h"
#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kRhythmUs = 100000;  // Of voice activity and progress.
constexpr int64_t kLookUs = 1000000;   // Between looks at the files.
constexpr int64_t kStartTimeoutUs = 5000000;
constexpr uint64_t kScarceBytes = 1 << 20;

constexpr const char* kExtensions[] = {kxrtc::kDescriptorFileExtension, kxrtc::kIndexFileExtension,
                                       kxrtc::kVideoFileExtension, kxrtc::kAudioFileExtension};

// The record's files and the timeline beside them.
std::vector<std::string> PathsOf(const std::string& folder) {
  std::vector<std::string> paths = {folder + kSpeakerTimelineFileName};
  for (const char* extension : kExtensions) {
    paths.push_back(kxrtc::SpeakerRecordFilePath(folder, extension));
  }
  return paths;
}

bool IsDiskFull(const std::string& folder) {
  struct statvfs info = {};
  return statvfs(folder.c_str(), &info) == 0 &&
         uint64_t{info.f_bavail} * info.f_frsize < kScarceBytes;
}

}  // namespace

Conference::Conference(const Scenario& scenario, const ConferenceOptions& options,
                       ConferenceObserver* observer)
    : scenario_(scenario),
      options_(options),
      observer_(observer),
      duration_us_(options.duration_us ? options.duration_us : scenario.duration_us),
      audio_factory_(&room_, &clock_, options.tap) {
  recorder_.SetListener(&timeline_);
  ConferenceSite site;
  site.clock = &clock_;
  site.room = &room_;
  site.recorder = &recorder_;
  site.tap = options.tap;
  site.notices = &notices_;
  for (size_t i = 0; i < scenario.participants.size(); ++i) {
    const ScenarioParticipant& participant = scenario.participants[i];
    members_.push_back(std::make_unique<ConferenceMember>(participant, i, site));
    for (const ScenarioEvent& event : participant.events) {
      events_.push_back({event.at_us, i, event.action});
    }
  }
  std::stable_sort(events_.begin(), events_.end(),
                   [](const DueEvent& a, const DueEvent& b) { return a.at_us < b.at_us; });
}

Conference::~Conference() {
  RequestStop();
  Finish();
}

void Conference::RequestStop() {
  stop_.Raise();
  for (const auto& member : members_) member->Interrupt();
  opening_.Cancel();
}

ConferenceOutcome Conference::Run(std::string* error) {
  SendFFmpegLogToLibraryLog();
  ConferenceOutcome outcome = CheckFolder(error);
  if (outcome == ConferenceOutcome::kComplete) outcome = OpenSources(error);
  if (outcome == ConferenceOutcome::kComplete) outcome = StartRecorder(error);
  if (outcome == ConferenceOutcome::kComplete) outcome = Play(error);
  Finish();
  (void)timeline_.Close();  // A failure is reported.
  ReportTimelineFailure();
  outcome = Judge(outcome, error);
  folder_lock_.Unlock();
  return outcome;
}

ConferenceOutcome Conference::OpenSources(std::string* error) {
  for (const auto& member : members_) {
    member->BeginOpening(options_.open_timeout_us, &opening_);
  }
  const MediaProblem problem = opening_.Wait(options_.open_timeout_us, error);
  if (stop_.IsRaised()) {
    error->clear();
    return ConferenceOutcome::kCancelled;
  }
  switch (problem) {
    case MediaProblem::kNone:
      break;
    case MediaProblem::kUnreadable:
      return ConferenceOutcome::kSourceUnreadable;
    case MediaProblem::kWrongCodec:
      return ConferenceOutcome::kSourceRefused;
  }
  return ConferenceOutcome::kComplete;
}

// Checks the folder before anything is opened. Changes nothing in it.
ConferenceOutcome Conference::CheckFolder(std::string* error) {
  std::error_code code;
  // Without the trailing separator: with it, a file would look missing.
  const auto folder =
      std::filesystem::status(std::filesystem::path(options_.folder).parent_path(), code);
  if (!std::filesystem::exists(folder)) return ConferenceOutcome::kComplete;
  if (!std::filesystem::is_directory(folder)) {
    *error = options_.folder + ": is not a folder";
    return ConferenceOutcome::kFolderFailed;
  }
  const ConferenceOutcome locked = LockFolder(error);
  return locked == ConferenceOutcome::kComplete ? CheckForRecord(error) : locked;
}

ConferenceOutcome Conference::LockFolder(std::string* error) {
  switch (folder_lock_.Lock(options_.folder)) {
    case FolderLock::Result::kLocked:
      return ConferenceOutcome::kComplete;
    case FolderLock::Result::kTaken:
      *error = options_.folder + ": " + folder_lock_.error() +
               " records into this folder; wait for its end or use another folder";
      break;
    case FolderLock::Result::kFailed:
      *error = options_.folder + ": cannot be locked: " + folder_lock_.error();
      break;
  }
  return ConferenceOutcome::kFolderFailed;
}

ConferenceOutcome Conference::CheckForRecord(std::string* error) const {
  for (const std::string& path : PathsOf(options_.folder)) {
    std::error_code code;
    const auto file = std::filesystem::symlink_status(path, code);
    if (!options_.replace_record && std::filesystem::exists(file)) {
      *error = options_.folder + ": already contains a record";
      return ConferenceOutcome::kRecordExists;
    }
  }
  return ConferenceOutcome::kComplete;
}

// Creates the folder and removes a record that is replaced. The folder may have appeared while the
// sources were being opened, with the record of another process.
ConferenceOutcome Conference::PrepareFolder(std::string* error) {
  if (!folder_lock_.is_locked()) {
    std::error_code code;
    std::error_code unknown;
    std::filesystem::create_directories(options_.folder, code);
    if (!std::filesystem::is_directory(options_.folder, unknown)) {
      *error = options_.folder + ": the folder cannot be created: " + code.message();
      return ConferenceOutcome::kFolderFailed;
    }
    const ConferenceOutcome locked = LockFolder(error);
    if (locked != ConferenceOutcome::kComplete) return locked;
  }
  const ConferenceOutcome checked = CheckForRecord(error);
  if (checked != ConferenceOutcome::kComplete) return checked;
  for (const std::string& path : PathsOf(options_.folder)) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) continue;
    *error = path + ": cannot be removed: " + std::strerror(errno);
    return ConferenceOutcome::kFolderFailed;
  }
  return ConferenceOutcome::kComplete;
}

ConferenceOutcome Conference::StartRecorder(std::string* error) {
  const auto failed = [&](const std::string& what) {
    const std::vector<std::string> failures = watch_.TakeFailures();
    *error = options_.folder + ": " + what;
    if (!failures.empty()) *error += " (" + failures.front() + ")";
    if (IsDiskFull(options_.folder)) *error += ", no space left on the device";
    return ConferenceOutcome::kStartFailed;
  };
  const ConferenceOutcome prepared = PrepareFolder(error);
  if (prepared != ConferenceOutcome::kComplete) return prepared;
  if (!recorder_.Initialize(options_.folder, &audio_factory_, nullptr)) {
    return failed("the record cannot be created");
  }
  if (!files_.Open(options_.folder, error)) return ConferenceOutcome::kStartFailed;
  if (!timeline_.Create(options_.folder, scenario_.title, error)) {
    return ConferenceOutcome::kStartFailed;
  }
  AnnounceLocalMicrophone();
  if (!recorder_.StartRecording()) return failed("the recording cannot be started");
  started_ = watch_.WaitForSession(kStartTimeoutUs);
  if (!started_) return failed("the recording does not start");
  return ConferenceOutcome::kComplete;
}

ConferenceOutcome Conference::Play(std::string* error) {
  start_us_ = clock_.NowUs();
  observer_->OnStarted();
  int64_t next_tick_us = 0;
  for (;;) {
    const int64_t now_us = TimeUs();
    while (next_event_ < events_.size() && events_[next_event_].at_us <= now_us) {
      Carry(events_[next_event_++]);
    }
    if (now_us >= next_tick_us) {
      AnnounceVoices();
      Report();
      if (RecordingFailed(error)) return ConferenceOutcome::kWriteFailed;
      next_tick_us += (now_us - next_tick_us) / kRhythmUs * kRhythmUs + kRhythmUs;
    }
    if (IsOver(TimeUs())) return ConferenceOutcome::kComplete;
    int64_t wake_us = next_tick_us;
    if (next_event_ < events_.size()) wake_us = std::min(wake_us, events_[next_event_].at_us);
    if (duration_us_) wake_us = std::min(wake_us, *duration_us_);
    if (stop_.WaitUntil(clock_.At(start_us_ + wake_us))) return ConferenceOutcome::kComplete;
  }
}

// The record ends first, with or without its sources. What they still send is refused.
void Conference::Finish() {
  if (started_ && audio_factory_.mixer() != nullptr && audio_factory_.mixer()->IsRunning()) {
    (void)recorder_.StopRecording();  // Fails only when it is not initialized.
  }
  if (audio_factory_.mixer() != nullptr && started_) progress_.time_us = TimeUs();
  (void)recorder_.Finalize();  // Always true.
  if (!started_) return;
  progress_.counts = watch_.counts();
  progress_.queued_tasks = 0;
}

// A record is complete when the files say so, not when the recorder has ended.
ConferenceOutcome Conference::Judge(ConferenceOutcome outcome, std::string* error) const {
  if (!started_) return outcome;
  if (outcome == ConferenceOutcome::kComplete && progress_.counts.failed_writes > 0) {
    outcome = ConferenceOutcome::kWriteFailed;
    DescribeWriteFailure(error);
  }
  const std::string damage = files_.FindDamage(progress_.counts);
  if (damage.empty()) return outcome;
  *error = error->empty() ? damage : *error + "; " + damage;
  return ConferenceOutcome::kRecordDamaged;
}

void Conference::Carry(const DueEvent& event) {
  ConferenceMember& member = *members_[event.member];
  const ParticipantState before = member.state();
  if (!member.Apply(event.action)) return;  // Not possible: the scenario was checked.
  const ParticipantState& after = member.state();
  if (before.camera_on != after.camera_on || before.share_on != after.share_on) {
    AnnounceVideo(member.participant().local);
  }
  const ScenarioParticipant& participant = member.participant();
  if (before.present != after.present) {
    if (after.present) {
      (void)timeline_.Join(participant.user_id, participant.name);  // The scenario was checked.
    } else {
      timeline_.Leave(participant.user_id);
    }
  }
  // The planned time, so that all who join together are exactly in step.
  member.Follow(start_us_ + event.at_us);
  if (participant.local) AnnounceLocalMicrophone();
  AnnounceVoices();
  observer_->OnAction(TimeUs(), participant, event.action);
}

void Conference::AnnounceVideo(bool local) {
  std::vector<VideoChannel> channels;
  for (const auto& member : members_) {
    if (member->participant().local == local) member->AppendChannels(&channels);
  }
  std::vector<uint32_t> ssrcs;
  std::vector<uint32_t> user_ids;
  std::vector<kxrtc::PeerConnectionConductor::media_type> types;
  for (const VideoChannel& channel : channels) {
    ssrcs.push_back(channel.ssrc);
    user_ids.push_back(channel.user_id);
    types.push_back(channel.type);
  }
  (void)recorder_.UpdateVideoSsrcMapping(local, ssrcs.data(), user_ids.data(), types.data(),
                                         static_cast<uint32_t>(channels.size()));
}

void Conference::AnnounceVoices() {
  std::vector<uint32_t> user_ids;
  std::vector<uint8_t> speaking;
  std::vector<uint32_t> speakers;
  for (const Voice& voice : room_.Voices()) {
    user_ids.push_back(voice.user_id);
    speaking.push_back(voice.speaking ? 1 : 0);
    if (voice.speaking) speakers.push_back(voice.user_id);
  }
  timeline_.SetSpeaking(speakers);
  (void)recorder_.UpdateVoiceActivity(user_ids.data(), speaking.data(),
                                      static_cast<uint32_t>(user_ids.size()));
}

void Conference::AnnounceLocalMicrophone() {
  for (const auto& member : members_) {
    if (!member->participant().local || local_muted_ == !member->IsMicrophoneOpen()) continue;
    local_muted_ = !member->IsMicrophoneOpen();
    (void)recorder_.MuteLocalMicrophone(local_muted_);
  }
}

const ScenarioParticipant* Conference::FindParticipant(uint32_t user_id) const {
  for (const ScenarioParticipant& participant : scenario_.participants) {
    if (participant.user_id == user_id) return &participant;
  }
  return nullptr;
}

void Conference::Report() {
  const int64_t time_us = TimeUs();
  for (const RecorderSelection& selection : watch_.TakeSelections()) {
    observer_->OnSelection(time_us, selection, FindParticipant(selection.user_id));
  }
  for (const std::string& text : notices_.Take()) observer_->OnNotice(time_us, text);
  for (const std::string& text : watch_.TakeFailures()) {
    observer_->OnNotice(time_us, "recorder: " + text);
  }
  ReportTimelineFailure();
  WarnOfMissingFiles(time_us);
  progress_.time_us = time_us;
  progress_.counts = watch_.counts();
  progress_.queued_tasks = recorder_.QueuedTasks();
  observer_->OnProgress(progress_);
}

void Conference::ReportTimelineFailure() {
  const std::string failure = timeline_.error();
  if (timeline_failure_told_ || failure.empty()) return;
  timeline_failure_told_ = true;
  observer_->OnNotice(TimeUs(), failure);
}

// The recording goes on: a folder that was only moved still gets it.
void Conference::WarnOfMissingFiles(int64_t time_us) {
  if (missing_noticed_ || time_us < next_look_us_) return;
  next_look_us_ = time_us + kLookUs;
  const std::string missing = files_.FindMissing();
  if (missing.empty()) return;
  missing_noticed_ = true;
  observer_->OnNotice(time_us, missing);
}

bool Conference::IsOver(int64_t time_us) const {
  if (duration_us_) return time_us >= *duration_us_;
  if (next_event_ < events_.size()) return false;
  return std::all_of(members_.begin(), members_.end(),
                     [](const auto& member) { return member->IsIdle(); });
}

// A recorder that cannot write stops its mixer by itself.
bool Conference::RecordingFailed(std::string* error) {
  if (audio_factory_.mixer()->IsRunning()) return false;
  DescribeWriteFailure(error);
  return true;
}

void Conference::DescribeWriteFailure(std::string* error) const {
  *error = options_.folder + ": cannot write the rest of the record";
  if (IsDiskFull(options_.folder)) *error += ", no space left on the device";
}

}  // namespace kxrtc_host
