#include "record/predict/record_analysis.h"

#include <algorithm>
#include <optional>

#include "files/read_only_file.h"
#include "record/check/audio_check.h"
#include "record/check/clock_check.h"
#include "record/check/data_check.h"
#include "record/check/descriptor_check.h"
#include "record/check/recorded_time.h"
#include "record/check/sound_check.h"
#include "record/check/structure_check.h"
#include "record/check/timeline_check.h"
#include "record/check/video_check.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/predict/file_prediction.h"
#include "record/predict/output_prediction.h"
#include "record/predict/record_outline.h"
#include "record/predict/replay_simulator.h"
#include "record/predict/size_estimate.h"
#include "record/predict/transcode_outcome.h"

namespace kxrtc_host {
namespace {

class Analysis {
 public:
  // `expects_audio`: the replay comes to audio records.
  Analysis(RecordFiles* files, TimelineCheck* timeline, const AnalysisOptions& options,
           bool expects_audio, RecordSummary* summary)
      : files_(files),
        timeline_(timeline),
        summary_(summary),
        state_(&files->video, &files->audio),
        structure_(&files->index, &state_, summary),
        clock_(summary),
        video_data_(kxrtc::kVideoFileExtension, files->video.size(), &summary->findings),
        audio_data_(kxrtc::kAudioFileExtension, files->audio.size(), &summary->findings),
        video_(&files->video, options.parameter_set_examiner, summary),
        audio_(&files->audio, summary),
        output_(summary, expects_audio, options.key_frames),
        file_(&files->audio, expects_audio, options.frame_rate),
        replay_(&state_, &output_),
        file_replay_(&state_, &file_) {}

  void Run() {
    IndexWalker walker(&files_->index);
    IndexRecord record;
    for (;;) {
      const IndexWalker::Step step = walker.Next(&record);
      if (step == IndexWalker::Step::kRecord) {
        OnRecord(record);
        continue;
      }
      outliner_.OnStep(step, record.offset, state_.in_session());
      if (step == IndexWalker::Step::kEnd) break;
      structure_.OnStep(step, record, walker.skipped_bytes());
      replay_.OnBrokenIndex(step, record.offset);
      file_replay_.OnBrokenIndex(step, record.offset);
    }
    timeline_->Finish();
    summary_->recorded_us = recorded_time_.total_us();
    structure_.Finish();
    clock_.Finish();
    video_data_.Finish();
    audio_data_.Finish();
    video_.Finish();
    audio_.Finish();
    replay_.Finish();
    output_.Finish(replay_.failure());
    file_.audio()->Finish();
  }

  FilePrediction* file() { return &file_; }
  const RecordOutline& outline() const { return outliner_.outline(); }  // After Run().

 private:
  void OnRecord(const IndexRecord& record) {
    const RecordFault fault = state_.FaultOf(record);
    outliner_.OnRecord(record, fault);
    structure_.OnRecord(record, fault);
    clock_.OnRecord(record);
    timeline_->OnRecord(record);
    recorded_time_.Take(record.header);
    const bool is_key = OnContent(record);
    replay_.OnRecord(record, fault, is_key);
    file_.NoteContents(video_.contents());
    file_replay_.OnRecord(record, fault, is_key);
    if (replay_.shows_icon()) video_.OnIcon();
    state_.Take(record);
  }

  // Checks the frame of a record. True for a key frame.
  bool OnContent(const IndexRecord& record) {
    const FramePlace place = record.IsMedia() ? state_.PlaceOf(record) : FramePlace::kMissing;
    const bool is_in_file = place == FramePlace::kInFile && !state_.IsRepeated(record);
    bool is_key = false;
    switch (record.header.type) {
      case kxrtc::kNewChannel:
        video_.OnNewChannel();
        break;
      case kxrtc::kNewVideoAttributes:
        video_.OnAttributes(record);
        break;
      case kxrtc::kVideoData:
        video_data_.OnRecord(record, place);
        is_key = is_in_file && video_.OnFrame(record);
        CountVideo(record, is_key);
        break;
      case kxrtc::kAudioData:
        audio_data_.OnRecord(record, place);
        if (is_in_file) audio_.OnFrame(record);
        CountAudio(record);
        break;
      default:
        break;
    }
    return is_key;
  }

  void CountVideo(const IndexRecord& record, bool is_key) {
    ++structure_.channel()->video_frames;
    structure_.channel()->video_bytes += record.data.size;
    SessionSummary* session = structure_.session();
    if (session == nullptr) return;
    ++session->video_frames;
    session->video_bytes += record.data.size;
    if (is_key) ++session->key_frames;
  }

  void CountAudio(const IndexRecord& record) {
    SessionSummary* session = structure_.session();
    if (session == nullptr) return;
    ++session->audio_frames;
    session->audio_bytes += record.data.size;
  }

  RecordFiles* files_;
  TimelineCheck* timeline_;
  RecordSummary* summary_;
  RecordedTime recorded_time_;
  RecordOutliner outliner_;
  IndexState state_;
  StructureCheck structure_;
  ClockCheck clock_;
  DataCheck video_data_;
  DataCheck audio_data_;
  VideoCheck video_;
  AudioCheck audio_;
  OutputPrediction output_;
  FilePrediction file_;
  ReplaySimulator replay_;
  ReplaySimulator file_replay_;
};

// One finding for each file that is not open; one for all where there is no record.
void ReportUnopened(const RecordFiles& files, const std::string& folder, FindingList* findings) {
  if (const std::string text = NoRecordText(files); !text.empty()) {
    return findings->Add(FindingCode::kFileMissing, std::nullopt, folder + ": " + text);
  }
  for (const ReadOnlyFile* file : {&files.index, &files.video, &files.audio, &files.descriptor}) {
    if (file->is_open()) continue;
    const bool is_missing = file->state() == ReadOnlyFile::State::kMissing;
    findings->Add(is_missing ? FindingCode::kFileMissing : FindingCode::kFileUnreadable,
                  std::nullopt, file->path() + ": " + file->error());
  }
}

ModePrediction PredictMode(const TranscodeFacts& facts, const FileContents& contents,
                           const std::string& refusal) {
  WriterEnd writer = {WriterEnd::Kind::kWritten, ""};
  if (!refusal.empty()) {
    writer = {WriterEnd::Kind::kFailed, refusal};
  } else if (contents.video_samples + contents.audio_frames == 0) {
    writer = {WriterEnd::Kind::kNothing, ""};
  }
  const TranscodeOutcome outcome = TranscodeOutcome::Predict(facts, writer);
  const bool has_file =
      outcome.kind() == TranscodeKind::kWritten || outcome.kind() == TranscodeKind::kWrittenInPart;
  return {outcome.kind(), outcome.text(), has_file ? contents : FileContents()};
}

// A file that could not be read; empty if there is none.
std::string ReadErrorOf(const RecordFiles& files) {
  for (const ReadOnlyFile* file : {&files.index, &files.video, &files.audio, &files.descriptor}) {
    if (file->has_read_error()) return file->path() + ": " + file->ReadFailureText();
  }
  return "";
}

// Why the MP4 writer takes none of what the replay gives it; empty when it does.
std::string RefusalOf(const TranscodeFacts& facts, SoundExaminer* examiner, AudioFrames* audio,
                      const RecordSummary& summary) {
  const bool is_too_large = facts.outline && facts.outline->end == RecordEnd::kFrameTooLarge;
  if (is_too_large) return facts.outline->end_reason;
  if (!audio->is_known()) return "";
  if (std::string obstacle = AudioRefusal(summary); !obstacle.empty()) return obstacle;
  const bool is_aac = examiner == nullptr || audio->Recognise(examiner, RecordedChannels(summary));
  return is_aac ? "" : kNotAacText;
}

void ReportOutcome(bool has_record, RecordSummary* summary) {
  const ReplayPrediction& replay = summary->replay;
  FindingList& findings = summary->findings;
  if (replay.encode.kind == TranscodeKind::kNothingToPlay) {
    findings.Add(FindingCode::kReplayNothing, std::nullopt,
                 replay.video_samples + replay.audio_samples == 0
                     ? "the record contains no frames, so no MP4 can be made"
                     : "no picture can be decoded and there is no sound, so no MP4 can be made");
  }
  if (!replay.refusal.empty()) {
    findings.Add(FindingCode::kReplayRefused, std::nullopt,
                 "kxrtc transcode cannot make an MP4 of this record: " + replay.refusal);
  }
  if (replay.completes || !has_record) return;
  findings.Add(FindingCode::kReplayFailed, replay.failure_time_us,
               "the record cannot be transcoded to its end: " + replay.failure);
}

// Adds what `kxrtc transcode` will do.
void JudgeOutcome(const RecordFiles& files, const TranscodeFacts& facts,
                  const AnalysisOptions& options, FilePrediction* file, RecordSummary* summary) {
  ReplayPrediction& replay = summary->replay;
  replay.refusal = RefusalOf(facts, options.sound_examiner, file->audio(), *summary);
  file->Finish();
  replay.encode = PredictMode(facts, file->encoded(), replay.refusal);
  replay.copy = PredictMode(facts, file->copied(), replay.refusal);
  if (IsReadOnly(files)) {
    summary->findings.Add(
        FindingCode::kReplayReadOnly, std::nullopt,
        "no permission to write: kxrtc transcode does not need it; a program that "
        "uses the library's transcoder needs a copy of the record");
  }
  if (!facts.obstacle.empty()) {
    replay.completes = false;
    replay.failure = facts.obstacle;
    replay.failure_time_us.reset();
  }
  ReportOutcome(NoRecordText(files).empty(), summary);
}

}  // namespace

RecordSummary AnalyseRecord(const std::string& folder, const AnalysisOptions& options) {
  RecordSummary summary;
  summary.folder = RecordFolderPath(folder);
  TimelineCheck timeline(summary.folder, &summary.findings);
  RecordFiles files;
  files.Open(folder);
  ReportUnopened(files, folder, &summary.findings);
  summary.sizes = {files.index.size(), files.video.size(), files.audio.size(),
                   files.descriptor.size()};
  TranscodeFacts facts;
  facts.folder = summary.folder;
  facts.output = "the MP4";
  const bool has_outline = HasOutline(files);
  Analysis analysis(&files, &timeline, options, has_outline && ReplaysAudio(&files), &summary);
  if (files.index.is_open()) analysis.Run();
  std::optional<RecordOutline> outline;
  if (has_outline) outline = analysis.outline();
  LookIntoRecord(files, outline, &facts);
  CheckDescriptor(files.descriptor, &summary);
  if (summary.descriptor.parsed) {
    summary.estimate_bytes = EstimateMp4Bytes(files.descriptor).value_or(0);
  }
  if (options.sound_examiner != nullptr) {
    CheckSound(&files, options.sound_examiner, &summary, options.damaged_sound);
  }
  if (facts.obstacle.empty()) facts.obstacle = ReadErrorOf(files);
  JudgeOutcome(files, facts, options, analysis.file(), &summary);
  return summary;
}

}  // namespace kxrtc_host
