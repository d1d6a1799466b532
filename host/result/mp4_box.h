// Finds boxes in an MP4 file (ISO/IEC 14496-12, 4.2).
// Threads: any.
#ifndef HOST_RESULT_MP4_BOX_H_
#define HOST_RESULT_MP4_BOX_H_

#include <cstdint>
#include <functional>

namespace kxrtc_host {

// The content of a box: positions in the file.
struct Mp4Box {
  uint64_t begin = 0;
  uint64_t end = 0;
};

// Reads all of `size` bytes at a position of the file, or answers false.
using Mp4Reader = std::function<bool(uint64_t position, void* buffer, uint64_t size)>;

// More boxes side by side are no file of this program, and nobody waits for an end of them.
inline constexpr int kMaxMp4Boxes = 10000;

// Replaces `*box` by the first box of `type` among the first kMaxMp4Boxes in it. False: there is
// none, or reading failed.
[[nodiscard]] bool FindMp4Box(const Mp4Reader& read, const char* type, Mp4Box* box);

}  // namespace kxrtc_host

#endif  // HOST_RESULT_MP4_BOX_H_
