// The size limit for a frame of a record.
#ifndef RECORD_INDEX_FRAME_LIMIT_H_
#define RECORD_INDEX_FRAME_LIMIT_H_

#include <cstdint>

namespace kxrtc_host {

// Bytes; no encoder makes a larger frame. A replay keeps a whole frame in memory.
inline constexpr uint32_t kMaxFrameBytes = 64 * 1024 * 1024;

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_FRAME_LIMIT_H_
