#include "record/timing/file_timeline.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

int64_t WithinOutputTime(int64_t timestamp_us) {
  return std::clamp(timestamp_us, -kMaxOutputTimeUs, kMaxOutputTimeUs);
}

}  // namespace

int64_t FileTimeOf(int64_t output_us, int64_t start_us) {
  return std::max<int64_t>(ExactMicroseconds(WithinOutputTime(output_us) - start_us), 0);
}

void TimelineStart::Settle(int64_t timestamp_us) {
  const bool is_far = timestamp_us > kFarFromZeroUs || timestamp_us < 0;
  const int64_t whole_frames = timestamp_us / kxrtc::kAudioFrameDurationUs;
  moved_by_us_ = is_far ? whole_frames * kxrtc::kAudioFrameDurationUs : 0;
  started_ = true;
}

int64_t TimelineStart::RebaseVideo(int64_t timestamp_us) {
  if (!started_) Settle(timestamp_us);
  return timestamp_us - moved_by_us_;
}

int64_t TimelineStart::RebaseAudio(int64_t timestamp_us) {
  if (!started_ || timestamp_us < moved_by_us_) Settle(timestamp_us);
  return timestamp_us - moved_by_us_;
}

int64_t FileTimeline::PlaceVideo(int64_t timestamp_us) {
  const int64_t rebased_us = start_.RebaseVideo(WithinOutputTime(timestamp_us));
  return video_clock_.Place(std::max<int64_t>(ExactMicroseconds(rebased_us), 0));
}

int64_t FileTimeline::PlaceAudio(int64_t timestamp_us) {
  const int64_t rebased_us =
      std::max<int64_t>(start_.RebaseAudio(WithinOutputTime(timestamp_us)), 0);
  video_clock_.NoteAudio(ExactMicroseconds(rebased_us));
  return rebased_us;
}

}  // namespace kxrtc_host
