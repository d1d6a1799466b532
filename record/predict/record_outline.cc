#include "record/predict/record_outline.h"

#include <algorithm>

#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kMaxRecordedUs = 1000000000000000;  // 30 years.

// Walks along the index until the replay ends, or `is_enough` says so of a record.
template <typename Predicate>
RecordOutliner OutlineUntil(RecordFiles* files, uint32_t max_frame_bytes, Predicate is_enough) {
  RecordOutliner outliner(max_frame_bytes);
  IndexState state(&files->video, &files->audio);
  IndexWalker walker(&files->index);
  IndexRecord record;
  while (!outliner.has_ended()) {
    const IndexWalker::Step step = walker.Next(&record);
    if (step != IndexWalker::Step::kRecord) {
      outliner.OnStep(step, record.offset, state.in_session());
      continue;
    }
    outliner.OnRecord(record, state.FaultOf(record));
    state.Take(record);
    if (is_enough(outliner.outline())) break;
  }
  return outliner;
}

}  // namespace

// The times can be any number.
void RecordOutliner::Count(const IndexRecord& record) {
  const int64_t time_us = record.header.record_timestamp_us;
  switch (record.header.type) {
    case kxrtc::kStartRecording:
      EndSpan();
      start_us_ = time_us;
      ++outline_.sessions;
      break;
    case kxrtc::kNewChannel:
      if (record.channel.media_type == 0) ++outline_.switches_to_audio_only;
      break;
    case kxrtc::kVideoData:
      ++outline_.video_frames;
      outline_.media_bytes += record.data.size;
      break;
    case kxrtc::kAudioData:
      ++outline_.audio_frames;
      outline_.media_bytes += record.data.size;
      break;
    default:
      break;
  }
  last_us_ = time_us;
}

void RecordOutliner::EndSpan() {
  if (start_us_ < 0 || last_us_ < start_us_) return;
  outline_.recorded_us = std::min(
      kMaxRecordedUs, outline_.recorded_us + std::min(kMaxRecordedUs, last_us_ - start_us_));
}

void RecordOutliner::End(const ReplayEnd& end) {
  EndSpan();
  has_ended_ = true;
  outline_.end = end.end;
  outline_.end_reason = end.reason;
}

void RecordOutliner::OnRecord(const IndexRecord& record, RecordFault fault) {
  if (has_ended_) return;
  if (const auto end = EndAtRecord(record, fault, max_frame_bytes_)) return End(*end);
  Count(record);
}

void RecordOutliner::OnStep(IndexWalker::Step step, uint64_t offset, bool in_session) {
  if (!has_ended_) End(EndAtStep(step, offset, in_session, outline_.sessions));
}

RecordOutline ReadRecordOutline(RecordFiles* files, uint32_t max_frame_bytes) {
  return OutlineUntil(files, max_frame_bytes, [](const RecordOutline&) { return false; }).outline();
}

bool ReplaysAudio(RecordFiles* files) {
  const auto has_audio = [](const RecordOutline& outline) { return outline.audio_frames > 0; };
  return has_audio(OutlineUntil(files, kMaxFrameBytes, has_audio).outline());
}

int64_t MediaDurationUs(const RecordOutline& outline) {
  return AudioSamplesToMicroseconds(static_cast<int64_t>(outline.audio_frames) *
                                    kSamplesPerAudioFrame);
}

}  // namespace kxrtc_host
