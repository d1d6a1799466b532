// The largest frame of a record that is taken for one.
#ifndef HOST_SHARED_FRAME_LIMIT_H_
#define HOST_SHARED_FRAME_LIMIT_H_

#include <cstdint>

namespace kxrtc_host {

// Bytes; no encoder makes a larger frame. A replay would hold it in memory as a whole.
inline constexpr uint32_t kMaxFrameBytes = 64 * 1024 * 1024;

}  // namespace kxrtc_host

#endif  // HOST_SHARED_FRAME_LIMIT_H_
