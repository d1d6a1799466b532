#include "record/timing/video_clock.h"

#include <algorithm>

namespace kxrtc_host {

int64_t VideoClock::FollowAudio(int64_t time_us) {
  if (audio_us_ == kNoAudio) return time_us;
  const int64_t ahead_us = time_us - audio_us_;
  if (stepped_) {
    stepped_ = ahead_us > kInStepUs;
  } else if (ahead_us > kStepUs && time_us - last_us_ > kStepUs) {
    stepped_ = true;
    if (++changes_.steps == 1) {
      changes_.first_step_at_us = audio_us_;
      changes_.first_step_us = ahead_us;
    }
  }
  if (!stepped_) return time_us;
  ++changes_.moved_samples;
  return std::max(last_us_ + 1, audio_us_);
}

int64_t VideoClock::Place(int64_t time_us) {
  int64_t placed_us = FollowAudio(time_us - changes_.shortened_by_us);
  if (placed_us - last_us_ > longest_gap_us_) {
    const int64_t too_long_us = placed_us - last_us_ - longest_gap_us_;
    changes_.shortened_by_us += too_long_us;
    placed_us -= too_long_us;
  }
  last_us_ = std::max(last_us_, placed_us);
  return placed_us;
}

}  // namespace kxrtc_host
