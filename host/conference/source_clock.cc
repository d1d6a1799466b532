#include "host/conference/source_clock.h"

#include <algorithm>

namespace kxrtc_host {

int64_t LiveClock::DueAt(int64_t media_us, int64_t arrival_us) {
  const int64_t offset_us = arrival_us - media_us;
  const int64_t change_us = offset_us - offset_us_;
  if (!started_ || change_us > kJumpUs || change_us < -kJumpUs) {
    started_ = true;
    offset_us_ = offset_us;
    last_arrival_us_ = arrival_us;
  }
  const int64_t forget_us = (arrival_us - last_arrival_us_) * kForgetPerSecondUs / 1000000;
  if (forget_us > 0) {
    offset_us_ += forget_us;
    last_arrival_us_ = arrival_us;
  }
  offset_us_ = std::min(offset_us_, offset_us);
  if (offset_us - offset_us_ <= kPlayoutDelayUs) {
    late_since_us_ = -1;
  } else if (late_since_us_ < 0) {
    late_since_us_ = arrival_us;
  } else if (arrival_us - late_since_us_ > kMaxLateUs) {
    late_since_us_ = -1;
    offset_us_ = offset_us;
  }
  return media_us + offset_us_ + kPlayoutDelayUs;
}

}  // namespace kxrtc_host
