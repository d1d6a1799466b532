#include "record/predict/output_timeline.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "record/index/record_text.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

FindingCode CodeOf(FillerReason reason) {
  switch (reason) {
    case FillerReason::kGap:
      return FindingCode::kReplayFillerGap;
    case FillerReason::kWaitingForKeyFrame:
      return FindingCode::kReplayFillerWaiting;
    case FillerReason::kStillShare:
      return FindingCode::kReplayStillShare;
    case FillerReason::kAudioOnly:
    case FillerReason::kNone:
      break;
  }
  return FindingCode::kReplayFillerAudioOnly;
}

void Merge(const OutputBucket& from, OutputBucket* into) {
  into->video_bytes += from.video_bytes;
  into->audio_bytes += from.audio_bytes;
  into->video_frames += from.video_frames;
  into->key_frames += from.key_frames;
}

}  // namespace

OutputTimeline::OutputTimeline(ReplayPrediction* prediction, FindingList* findings)
    : prediction_(prediction), findings_(findings) {
  prediction_->bucket_us = kFirstBucketUs;
}

OutputBucket* OutputTimeline::BucketAt(int64_t output_us) {
  const int64_t time_us = std::max<int64_t>(0, output_us);
  auto& buckets = prediction_->buckets;
  while (time_us / prediction_->bucket_us >= static_cast<int64_t>(kMaxBuckets)) {
    for (size_t i = 0; i < buckets.size(); ++i) {
      if (i % 2 == 1) {
        Merge(buckets[i], &buckets[i / 2]);
      } else {
        buckets[i / 2] = buckets[i];
      }
    }
    buckets.resize((buckets.size() + 1) / 2);
    prediction_->bucket_us *= 2;
  }
  const auto index = static_cast<size_t>(time_us / prediction_->bucket_us);
  if (index >= buckets.size()) buckets.resize(index + 1);
  return &buckets[index];
}

void OutputTimeline::EndSpan(int64_t output_us) {
  if (!has_span_) return;
  span_.end_us = std::max(span_.start_us, output_us);
  if (span_.filler != FillerReason::kNone) {
    int64_t& total_us = span_.filler == FillerReason::kStillShare ? prediction_->still_share_us
                                                                  : prediction_->filler_us;
    total_us =
        kxrtc::SaturatedAdd(total_us, kxrtc::SaturatedSubtract(span_.end_us, span_.start_us));
    ReportFiller();
  }
  ++prediction_->span_count;
  if (prediction_->spans.size() < kMaxSpans) prediction_->spans.push_back(span_);
  has_span_ = false;
}

void OutputTimeline::ReportFiller() {
  const std::string from = SecondsText(span_.start_us);
  const std::string to = SecondsText(span_.end_us);
  findings_->Add(
      CodeOf(span_.filler), span_.time_us,
      span_.filler == FillerReason::kStillShare
          ? Text("the desktop share stands still from %s to %s: encoded video keeps its picture, "
                 "copied video shows the icon",
                 from.c_str(), to.c_str())
          : Text("the MP4 shows the icon from %s to %s: %s", from.c_str(), to.c_str(),
                 FillerReasonName(span_.filler)));
}

void OutputTimeline::Show(int64_t output_us, FillerReason filler, uint32_t media_type,
                          int64_t time_us) {
  const bool goes_on = has_span_ && !broken_ && span_.filler == filler &&
                       (filler != FillerReason::kNone || span_.media_type == media_type);
  broken_ = false;
  if (goes_on) return;
  EndSpan(output_us);
  span_ = {output_us, output_us, filler, media_type, time_us};
  has_span_ = true;
}

void OutputTimeline::AddVideo(int64_t output_us, uint32_t bytes, bool is_key) {
  OutputBucket* bucket = BucketAt(output_us);
  bucket->video_bytes += bytes;
  ++bucket->video_frames;
  if (!is_key) return;
  ++bucket->key_frames;
  ++prediction_->key_frame_count;
  if (prediction_->key_frames_us.size() < kMaxMarks) {
    prediction_->key_frames_us.push_back(output_us);
  }
}

void OutputTimeline::AddAudio(int64_t output_us, uint32_t bytes) {
  BucketAt(output_us)->audio_bytes += bytes;
}

void OutputTimeline::Finish(int64_t output_us) { EndSpan(output_us); }

}  // namespace kxrtc_host
