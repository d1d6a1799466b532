#include "kxrtc/media/video/h264/zero_pair_search.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kxrtc::H264 {
namespace {

// The positions that are looked at together.
constexpr size_t kBlockSize = 128;

// 16 bytes side by side; the compiler has an instruction for each operation where the machine does.
using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Words2 = uint64_t __attribute__((vector_size(16)));

Bytes16 Load(const uint8_t* bytes) {
  Bytes16 result;
  std::memcpy(&result, bytes, sizeof(result));
  return result;
}

// Not zero where the pattern begins, for bytes[0] to bytes[15].
Bytes16 MatchesAt(const uint8_t* bytes, ThirdByte third) {
  const Bytes16 miss =
      Load(bytes) | Load(bytes + 1) | ((Load(bytes + 2) ^ third.value) & third.mask);
  return reinterpret_cast<Bytes16>(miss == 0);
}

bool IsAnySet(Bytes16 found) {
  const Words2 words = reinterpret_cast<Words2>(found);
  return (words[0] | words[1]) != 0;
}

// Whether the pattern begins at one of bytes[0] to bytes[kBlockSize - 1].
bool BlockHasMatch(const uint8_t* bytes, ThirdByte third) {
  Bytes16 found = {};
  for (const uint8_t* end = bytes + kBlockSize; bytes < end; bytes += sizeof(Bytes16)) {
    found |= MatchesAt(bytes, third);
  }
  return IsAnySet(found);
}

// The first position from `i` on, at the distance of whole blocks, whose block has a match; or the
// first one that is less than a block before `end`.
size_t SkipBlocks(const uint8_t* data, size_t i, size_t end, ThirdByte third) {
  while (end - i >= kBlockSize && !BlockHasMatch(data + i, third)) i += kBlockSize;
  return i;
}

#if defined(__x86_64__)

__attribute__((target("avx2"))) __m256i PairsAt(const uint8_t* bytes) {
  return _mm256_or_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)),
                         _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + 1)));
}

// The same with twice as wide registers. Two zero bytes are rare enough in coded video to look for
// them alone first.
__attribute__((target("avx2"))) size_t SkipBlocksAvx2(const uint8_t* data, size_t i, size_t end,
                                                      ThirdByte third) {
  const __m256i zero = _mm256_setzero_si256();
  for (; end - i >= kBlockSize; i += kBlockSize) {
    // A lane is zero where two zero bytes begin.
    const __m256i least =
        _mm256_min_epu8(_mm256_min_epu8(PairsAt(data + i), PairsAt(data + i + 32)),
                        _mm256_min_epu8(PairsAt(data + i + 64), PairsAt(data + i + 96)));
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(least, zero)) != 0 &&
        BlockHasMatch(data + i, third)) {
      return i;
    }
  }
  return i;
}

size_t SkipBlocksFast(const uint8_t* data, size_t i, size_t end, ThirdByte third) {
  return __builtin_cpu_supports("avx2") ? SkipBlocksAvx2(data, i, end, third)
                                        : SkipBlocks(data, i, end, third);
}

#else

size_t SkipBlocksFast(const uint8_t* data, size_t i, size_t end, ThirdByte third) {
  return SkipBlocks(data, i, end, third);
}

#endif

}  // namespace

size_t FindZeroPair(const uint8_t* data, size_t from, size_t end, ThirdByte third) {
  if (from >= end) return end;
  size_t i = from;
  // A delimiter or a parameter set is short: the next start code is close.
  const bool is_close = end - i >= sizeof(Bytes16) && IsAnySet(MatchesAt(data + i, third));
  if (!is_close) i = SkipBlocksFast(data, i, end, third);
  // What is left is less than a block, or a block with a match.
  while (end - i >= sizeof(Bytes16) && !IsAnySet(MatchesAt(data + i, third))) i += sizeof(Bytes16);
  while (i < end) {
    const uint8_t ahead = data[i + 2];
    if (third.Matches(ahead)) {
      if (data[i + 1] == 0 && data[i] == 0) return i;
      ++i;
    } else {
      i += ahead == 0 ? 1 : 3;  // A byte that is not part of the pattern rules out three positions.
    }
  }
  return end;
}

}  // namespace kxrtc::H264
