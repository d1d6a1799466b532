#include "host/shared/video_clock.h"

#include <algorithm>
#include <string>

namespace kxrtc_host {

int64_t VideoClock::FollowAudio(int64_t time_us) {
  if (audio_us_ == kNoAudio) return time_us;
  const int64_t ahead_us = time_us - audio_us_;
  if (stepped_) {
    stepped_ = ahead_us > kInStepUs;
  } else if (ahead_us > kStepUs && time_us - last_us_ > kStepUs) {
    stepped_ = true;
    if (++steps_ == 1) {
      first_step_at_us_ = audio_us_;
      first_step_us_ = ahead_us;
    }
  }
  if (!stepped_) return time_us;
  ++moved_samples_;
  return std::max(last_us_ + 1, audio_us_);
}

int64_t VideoClock::Place(int64_t time_us) {
  int64_t placed_us = FollowAudio(time_us - shortened_by_us_);
  if (placed_us - last_us_ > longest_gap_us_) {
    const int64_t too_long_us = placed_us - last_us_ - longest_gap_us_;
    shortened_by_us_ += too_long_us;
    placed_us -= too_long_us;
  }
  last_us_ = std::max(last_us_, placed_us);
  return placed_us;
}

void VideoClock::Finish(WriterReport* report) const {
  if (steps_ != 0) {
    report->Warn("the recorder's clock was set forward by " + TimeText(first_step_us_) + " at " +
                 TimeText(first_step_at_us_) +
                 (steps_ > 1 ? " and " + std::to_string(steps_ - 1) + " times more" : "") + ": " +
                 std::to_string(moved_samples_) + " video samples follow the audio instead");
  }
  if (shortened_by_us_ != 0) {
    report->Warn("the video pauses longer than the file can tell; " + TimeText(shortened_by_us_) +
                 " of it are left out");
  }
}

}  // namespace kxrtc_host
