#include "host/record/record_analysis.h"

#include <algorithm>

#include "host/record/audio_check.h"
#include "host/record/clock_check.h"
#include "host/record/data_check.h"
#include "host/record/descriptor_check.h"
#include "host/record/dry_run.h"
#include "host/record/index_walker.h"
#include "host/record/record_file.h"
#include "host/record/replay_model.h"
#include "host/record/size_estimate.h"
#include "host/record/structure_check.h"
#include "host/record/text.h"
#include "host/record/video_check.h"
#include "host/shared/frame_limit.h"

namespace kxrtc_host {
namespace {

// The replay seeks to a frame and then reads it: one of 0 bytes may lie behind the end of its file.
bool IsReachedAndEmpty(const RecordFile& file, const IndexRecord& record) {
  return record.data.size == 0 && file.CanSeekTo(record.data.start_position);
}

// Whether an audio record stands in the index, up to the first bytes that are no record.
bool HoldsAudio(RecordFile* index) {
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
        structure_(summary),
        clock_(summary),
        video_data_(kxrtc::kVideoFileExtension, files->video.size(), &summary->findings),
        audio_data_(kxrtc::kAudioFileExtension, files->audio.size(), &summary->findings),
        video_(&files->video, summary),
        audio_(&files->audio, summary),
        replay_(summary, HoldsAudio(&files->index)) {}

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
      replay_.OnBrokenIndex();
    }
    structure_.Finish();
    clock_.Finish();
    video_data_.Finish();
    audio_data_.Finish();
    audio_.Finish();
    replay_.Finish();
  }

 private:
  void OnRecord(const IndexRecord& record) {
    structure_.OnRecord(record);
    clock_.OnRecord(record);
    bool readable = false;
    bool is_key = false;
    switch (record.header.type) {
      case kxrtc::kNewChannel:
        video_.OnNewChannel();
        break;
      case kxrtc::kNewVideoAttributes:
        video_.OnAttributes(record);
        break;
      case kxrtc::kVideoData:
        readable = video_data_.OnRecord(record);
        is_key = readable && video_.OnFrame(record);
        readable = readable || IsReachedAndEmpty(files_->video, record);
        CountVideo(record, is_key);
        break;
      case kxrtc::kAudioData:
        readable = audio_data_.OnRecord(record);
        if (readable) audio_.OnFrame(record);
        readable = readable || IsReachedAndEmpty(files_->audio, record);
        CountAudio(record);
        break;
      default:
        break;
    }
    if (readable) {
      summary_->largest_frame = std::max<uint64_t>(summary_->largest_frame, record.data.size);
    }
    replay_.OnRecord(record, readable, is_key);
    if (replay_.shows_icon()) video_.OnIcon();
  }

  void CountVideo(const IndexRecord& record, bool is_key) {
    ChannelTotals& totals = summary_->channels[structure_.media_type()];
    ++totals.video_frames;
    totals.video_bytes += record.data.size;
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
  StructureCheck structure_;
  ClockCheck clock_;
  DataCheck video_data_;
  DataCheck audio_data_;
  VideoCheck video_;
  AudioCheck audio_;
  ReplayModel replay_;
};

void ReportUnopened(const RecordFile& file, FindingList* findings) {
  if (file.is_open()) return;
  const bool is_missing = file.state() == RecordFile::State::kMissing;
  findings->Add(is_missing ? FindingCode::kFileMissing : FindingCode::kFileUnreadable, std::nullopt,
                file.path() + ": " + file.error());
}

// Why the replay would not start with these files; empty when it does.
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

// Tells what stands against an MP4 besides the records of the index.
void JudgeOutput(RecordSummary* summary) {
  ReplayPrediction& replay = summary->replay;
  if (const std::string reason = ReasonNotToStart(summary->findings); !reason.empty()) {
    replay.can_start = false;
    replay.completes = false;
    replay.failure = reason;
    replay.failure_time_us.reset();
  }
  if (summary->largest_frame > kMaxFrameBytes) {
    replay.refusal = Text("a frame of %llu bytes; at most %u are taken",
                          static_cast<unsigned long long>(summary->largest_frame), kMaxFrameBytes);
  } else {
    replay.refusal = AudioRefusal(*summary);
  }
  if (replay.refusal.empty() && !summary->audio.is_known && replay.filler_insertions == 0 &&
      replay.video_samples > 0 && !summary->has_decodable_key_frame) {
    summary->findings.Add(
        FindingCode::kReplayNothing, std::nullopt,
        "no picture can be decoded and there is no sound: there is nothing to make "
        "an MP4 of");
  }
  if (!replay.refusal.empty()) {
    summary->findings.Add(FindingCode::kReplayRefused, std::nullopt,
                          "kxrtc transcode makes no MP4 of the record: " + replay.refusal);
  }
}

}  // namespace

RecordSummary AnalyseRecord(const std::string& folder, const AnalysisOptions& options) {
  RecordSummary summary;
  summary.folder = RecordFolderPath(folder);
  RecordFiles files;
  files.Open(folder);
  for (const RecordFile* file : {&files.index, &files.video, &files.audio, &files.descriptor}) {
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
    summary.estimate_bytes = EstimateMp4Bytes(summary.folder).value_or(0);
  }
  JudgeOutput(&summary);
  if (options.run_replay) CompareWithReplay(&summary);
  if (!summary.replay.completes) {
    summary.findings.Add(FindingCode::kReplayFailed, summary.replay.failure_time_us,
                         "the record cannot be transcoded to its end: " + summary.replay.failure);
  }
  return summary;
}

}  // namespace kxrtc_host
