// The rotation of a picture.
// Threads: any.
#ifndef RECORD_TIMING_ROTATION_H_
#define RECORD_TIMING_ROTATION_H_

#include <cstdint>

namespace kxrtc_host {

// `rotation` as 0, 90, 180 or 270. Other values count as the next lower multiple of 90.
constexpr int32_t NormalRotation(int32_t rotation) {
  return ((rotation % 360 + 360) % 360) / 90 * 90;
}

// True where a picture turned by `normal_rotation` has its sides swapped.
constexpr bool IsSideways(int32_t normal_rotation) {
  return normal_rotation == 90 || normal_rotation == 270;
}

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_ROTATION_H_
