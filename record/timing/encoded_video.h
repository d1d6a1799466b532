// How a pause of encoded video is filled.
// Threads: any.
#ifndef RECORD_TIMING_ENCODED_VIDEO_H_
#define RECORD_TIMING_ENCODED_VIDEO_H_

#include <algorithm>
#include <cstdint>

#include "record/timing/media_time.h"

namespace kxrtc_host {

// So long is a picture repeated at each tick, if neither a picture nor sound comes.
inline constexpr int64_t kLongestRepeatUs = 10 * kMicrosecondsPerSecond;

// How many of the `ticks` of a pause are encoded: the first ones, and the last one of a longer
// pause.
constexpr int64_t EncodedTicks(int64_t ticks, int64_t frame_rate) {
  return std::min(ticks, kLongestRepeatUs / kMicrosecondsPerSecond * frame_rate + 1);
}

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_ENCODED_VIDEO_H_
