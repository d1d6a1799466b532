#include "record/predict/record_analysis.h"

#include <algorithm>
#include <cinttypes>

#include "files/read_only_file.h"
#include "record/check/audio_check.h"
#include "record/check/clock_check.h"
#include "record/check/data_check.h"
#include "record/check/descriptor_check.h"
#include "record/check/sound_check.h"
#include "record/check/structure_check.h"
#include "record/check/video_check.h"
#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/predict/output_prediction.h"
#include "record/predict/replay_simulator.h"
#include "record/predict/size_estimate.h"

namespace kxrtc_host {
namespace {

// True when the index has an audio record before the first bytes that are not a record.
bool HoldsAudio(ReadOnlyFile* index) {
  IndexWalker walker(index);
  IndexRecord record;
  while (walker.Next(&record) == IndexWalker::Step::kRecord) {
    if (record.header.type == kxrtc::kAudioData) return true;
  }
  return false;
}

class Analysis {
 public:
  Analysis(RecordFiles* files, RecordSummary* summary)
      : files_(files),
        summary_(summary),
        state_(&files->video, &files->audio),
        structure_(&state_, summary),
        clock_(summary),
        video_data_(kxrtc::kVideoFileExtension, files->video.size(), &summary->findings),
        audio_data_(kxrtc::kAudioFileExtension, files->audio.size(), &summary->findings),
        video_(&files->video, summary),
        audio_(&files->audio, summary),
        output_(summary, HoldsAudio(&files->index)),
        replay_(&state_, &output_) {}

  void Run() {
    IndexWalker walker(&files_->index);
    IndexRecord record;
    for (;;) {
      const IndexWalker::Step step = walker.Next(&record);
      if (step == IndexWalker::Step::kEnd) break;
      if (step == IndexWalker::Step::kRecord) {
        OnRecord(record);
        continue;
      }
      structure_.OnStep(step, record, walker.skipped_bytes());
      replay_.OnBrokenIndex(step == IndexWalker::Step::kTruncated);
    }
    structure_.Finish();
    clock_.Finish();
    video_data_.Finish();
    audio_data_.Finish();
    audio_.Finish();
    replay_.Finish();
    output_.Finish(replay_.failure());
  }

 private:
  void OnRecord(const IndexRecord& record) {
    structure_.OnRecord(record);
    clock_.OnRecord(record);
    const bool is_key = OnContent(record);
    replay_.OnRecord(record, is_key);
    if (record.IsMedia() && !replay_.failure()) {
      summary_->largest_frame = std::max<uint64_t>(summary_->largest_frame, record.data.size);
    }
    if (replay_.shows_icon()) video_.OnIcon();
    state_.Take(record);
  }

  // Checks the frame of a record. True for a key frame.
  bool OnContent(const IndexRecord& record) {
    const FramePlace place = record.IsMedia() ? state_.PlaceOf(record) : FramePlace::kMissing;
    const bool is_in_file = place == FramePlace::kInFile;
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
  RecordSummary* summary_;
  IndexState state_;
  StructureCheck structure_;
  ClockCheck clock_;
  DataCheck video_data_;
  DataCheck audio_data_;
  VideoCheck video_;
  AudioCheck audio_;
  OutputPrediction output_;
  ReplaySimulator replay_;
};

void ReportUnopened(const ReadOnlyFile& file, FindingList* findings) {
  if (file.is_open()) return;
  const bool is_missing = file.state() == ReadOnlyFile::State::kMissing;
  findings->Add(is_missing ? FindingCode::kFileMissing : FindingCode::kFileUnreadable, std::nullopt,
                file.path() + ": " + file.error());
}

// Why the replay cannot start with these files; empty when it can.
std::string ReasonNotToStart(const FindingList& findings) {
  for (const FindingCode code : {FindingCode::kFileMissing, FindingCode::kFileUnreadable}) {
    if (findings.count(code) > 0) return "a file of the record cannot be read";
  }
  for (const FindingCode code :
       {FindingCode::kDescriptorMember, FindingCode::kDescriptorSessionCount,
        FindingCode::kDescriptorUnparsable}) {
    if (findings.count(code) > 0) return "the descriptor is not valid";
  }
  return "";
}

// Adds the obstacles to an MP4 that are not in the records of the index.
void JudgeOutput(const RecordFiles& files, RecordSummary* summary) {
  ReplayPrediction& replay = summary->replay;
  if (const std::string reason = ReasonNotToStart(summary->findings); !reason.empty()) {
    replay.can_start = false;
    replay.completes = false;
    replay.failure = reason;
    replay.failure_time_us.reset();
  } else if (const std::string obstacle = ReplayObstacle(files); !obstacle.empty()) {
    summary->findings.Add(FindingCode::kReplayReadOnly, std::nullopt, obstacle);
  }
  if (summary->largest_frame > kMaxFrameBytes) {
    replay.refusal = Text("a frame has %" PRIu64 " bytes, the limit is %u", summary->largest_frame,
                          kMaxFrameBytes);
  } else {
    replay.refusal = AudioRefusal(*summary);
  }
  if (replay.refusal.empty() && !summary->audio.is_known && replay.filler_insertions == 0 &&
      replay.video_samples > 0 && !summary->has_decodable_key_frame) {
    summary->findings.Add(FindingCode::kReplayNothing, std::nullopt,
                          "no picture can be decoded and there is no sound, so no MP4 can be made");
  }
  if (!replay.refusal.empty()) {
    summary->findings.Add(FindingCode::kReplayRefused, std::nullopt,
                          "kxrtc transcode cannot make an MP4 of this record: " + replay.refusal);
  }
}

}  // namespace

RecordSummary AnalyseRecord(const std::string& folder, const AnalysisOptions& options) {
  RecordSummary summary;
  summary.folder = RecordFolderPath(folder);
  RecordFiles files;
  files.Open(folder);
  for (const ReadOnlyFile* file : {&files.index, &files.video, &files.audio, &files.descriptor}) {
    ReportUnopened(*file, &summary.findings);
  }
  summary.sizes = {files.index.size(), files.video.size(), files.audio.size(),
                   files.descriptor.size()};
  if (!files.index.is_open()) {
    summary.replay.failure = "there is no index";
    summary.findings.Add(FindingCode::kReplayFailed, std::nullopt, "there is no index");
    return summary;
  }
  Analysis(&files, &summary).Run();
  CheckDescriptor(files.descriptor, &summary);
  if (summary.descriptor.parsed) {
    summary.estimate_bytes = EstimateMp4Bytes(files.descriptor).value_or(0);
  }
  if (options.sound_examiner != nullptr) CheckSound(&files, options.sound_examiner, &summary);
  JudgeOutput(files, &summary);
  if (!summary.replay.completes) {
    summary.findings.Add(FindingCode::kReplayFailed, summary.replay.failure_time_us,
                         "the record cannot be transcoded to its end: " + summary.replay.failure);
  }
  return summary;
}

}  // namespace kxrtc_host
