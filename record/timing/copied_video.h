// How long copied pictures are shown.
// Threads: any.
#ifndef RECORD_TIMING_COPIED_VIDEO_H_
#define RECORD_TIMING_COPIED_VIDEO_H_

#include <algorithm>
#include <cstdint>

#include "record/timing/video_clock.h"

namespace kxrtc_host {

// The duration of the last picture: until the sound ends at `end_us`, else as long as the picture
// before it. `before_us`: that duration; 0 if it is the only one.
constexpr int64_t LastCopiedDurationUs(int64_t time_us, int64_t before_us, int64_t end_us) {
  constexpr int64_t kOnlyPictureUs = 41667;
  int64_t duration_us = end_us - time_us;
  if (duration_us <= 0) duration_us = before_us > 0 ? before_us : kOnlyPictureUs;
  return std::min(duration_us, VideoClock::kLongestGapUs);
}

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_COPIED_VIDEO_H_
