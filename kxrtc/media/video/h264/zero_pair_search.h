// Finds two zero bytes and a third one of interest: the patterns of H.264 byte streams. Fast where
// such places are rare, and never slower than one look at each byte.
// Threads: any.
#ifndef KXRTC_MEDIA_VIDEO_H264_ZERO_PAIR_SEARCH_H_
#define KXRTC_MEDIA_VIDEO_H264_ZERO_PAIR_SEARCH_H_

#include <cstddef>
#include <cstdint>

namespace kxrtc::H264 {

// What follows the two zero bytes: a byte that equals `value` in the bits of `mask`.
struct ThirdByte {
  uint8_t value;
  uint8_t mask;

  bool Matches(uint8_t byte) const { return ((byte ^ value) & mask) == 0; }
};

// The first position in [from, end) where the pattern begins, or `end`. Reads up to data[end + 1].
[[nodiscard]] size_t FindZeroPair(const uint8_t* data, size_t from, size_t end, ThirdByte third);

}  // namespace kxrtc::H264

#endif  // KXRTC_MEDIA_VIDEO_H264_ZERO_PAIR_SEARCH_H_
