#include "kxrtc/media/video/h264/nal_unit.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "kx_utility/raw_buffer.h"

namespace kxrtc {
namespace H264 {
namespace {

constexpr uint32_t kStartCodeSize = 3;
constexpr uint8_t kEscapeByte = 3;

// 16 bytes side by side; the compiler has an instruction for each operation where the machine does.
using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Words2 = uint64_t __attribute__((vector_size(16)));
constexpr size_t kBlockSize = 4 * sizeof(Bytes16);

Bytes16 Load(const uint8_t* bytes) {
  Bytes16 result;
  std::memcpy(&result, bytes, sizeof(result));
  return result;
}

// Three bytes searched for: 00 00 and a third one that equals `kThird` in the bits of `kMask`.
template <uint8_t kThird, uint8_t kMask>
struct Pattern {
  static bool MatchesThird(uint8_t byte) { return ((byte ^ kThird) & kMask) == 0; }

  // All ones in each lane where the pattern begins, for the positions bytes[0] to bytes[15].
  static Bytes16 MatchesAt(const uint8_t* bytes) {
    const Bytes16 miss = Load(bytes) | Load(bytes + 1) | ((Load(bytes + 2) ^ kThird) & kMask);
    return reinterpret_cast<Bytes16>(miss == 0);
  }

  // Whether the pattern begins at one of bytes[0] to bytes[kBlockSize - 1].
  static bool BlockHasMatch(const uint8_t* bytes) {
    const Words2 found = reinterpret_cast<Words2>(MatchesAt(bytes) | MatchesAt(bytes + 16) |
                                                  MatchesAt(bytes + 32) | MatchesAt(bytes + 48));
    return (found[0] | found[1]) != 0;
  }
};
using StartCode = Pattern<1, 0xFF>;    // Annex B.
using Escape = Pattern<3, 0xFF>;       // What clause 7.4.1 takes out of a NAL payload,
using NeedsEscape = Pattern<0, 0xFC>;  // and where it puts an escape into an RBSP.

// The first position in [from, end) where the pattern begins, or `end`. Reads up to data[end + 1].
// The plain search looks two bytes ahead and skips three when the byte there can be no part of the
// pattern; whole blocks without a match are skipped sooner.
template <typename P>
size_t Find(const uint8_t* data, size_t from, size_t end) {
  size_t i = from;
  while (i < end) {
    size_t stop = end;
    if (end - i >= kBlockSize) {
      if (!P::BlockHasMatch(data + i)) {
        i += kBlockSize;
        continue;
      }
      stop = i + kBlockSize;
    }
    while (i < stop) {
      if (P::MatchesThird(data[i + 2])) {
        if (data[i + 1] == 0 && data[i] == 0) return i;
        ++i;
      } else {
        i += data[i + 2] == 0 ? 1 : 3;
      }
    }
  }
  return end;
}

// Calls `visit` with the position of each start code that has a NAL header byte behind it, in
// order, until it returns false.
template <typename Visitor>
void ForEachStartCode(const uint8_t* data, uint32_t length, Visitor visit) {
  if (length <= kStartCodeSize) return;
  const size_t end = length - kStartCodeSize;
  for (size_t i = Find<StartCode>(data, 0, end); i < end;
       i = Find<StartCode>(data, i + kStartCodeSize, end)) {
    if (!visit(static_cast<uint32_t>(i))) return;
  }
}

// Appends with the growth that one AppendData() for each byte has: half as much again whenever the
// capacity is used up.
void AppendStepwise(const uint8_t* bytes, uint32_t length, kx_utility::RawBuffer* destination) {
  while (length > 0) {
    const uint32_t room = destination->capacity() - destination->size();
    const uint32_t step = std::min(length, std::max(room, 1u));
    if (!destination->AppendData(bytes, step)) return;
    bytes += step;
    length -= step;
  }
}

bool IsAcceptedType(uint8_t type) {
  constexpr uint32_t kRejectedUpTo18 = 0x70001;
  return type <= 21 && (type > 18 || ((kRejectedUpTo18 >> type) & 1) == 0);
}

}  // namespace

std::vector<NaluIndex> FindNaluIndices(const uint8_t* data, uint32_t length) {
  std::vector<NaluIndex> result;
  ForEachStartCode(data, length, [&](uint32_t position) {
    NaluIndex index;
    index.start_offset = position > 0 && data[position - 1] == 0 ? position - 1 : position;
    index.payload_start_offset = position + kStartCodeSize;
    if (!result.empty()) {
      result.back().payload_size = index.start_offset - result.back().payload_start_offset;
    }
    result.push_back(index);
    return true;
  });
  if (!result.empty()) result.back().payload_size = length - result.back().payload_start_offset;
  return result;
}

uint8_t ParseNaluType(uint8_t data) { return data & 0x1F; }

std::vector<uint8_t> ParseRbsp(const uint8_t* data, uint32_t length) {
  std::vector<uint8_t> result;
  if (length == 0) return result;
  result.reserve(length);
  size_t copied = 0;
  const size_t end = length < 3 ? 0 : length - 2;
  for (size_t i = Find<Escape>(data, 0, end); i < end; i = Find<Escape>(data, copied, end)) {
    result.insert(result.end(), data + copied, data + i + 2);
    copied = i + 3;
  }
  result.insert(result.end(), data + copied, data + length);
  return result;
}

void WriteRbsp(const uint8_t* bytes, uint32_t length, kx_utility::RawBuffer* destination) {
  destination->EnsureCapacityWithHeadroom(destination->size() + length, false);
  uint32_t copied = 0;
  const size_t end = length < 3 ? 0 : length - 2;
  for (size_t i = Find<NeedsEscape>(bytes, 0, end); i < end;
       i = Find<NeedsEscape>(bytes, copied, end)) {
    const uint32_t next = static_cast<uint32_t>(i) + 2;
    AppendStepwise(bytes + copied, next - copied, destination);
    AppendStepwise(&kEscapeByte, 1, destination);
    copied = next;
  }
  AppendStepwise(bytes + copied, length - copied, destination);
}

bool IsKeyFrame(const uint8_t* data, uint32_t length) {
  bool found = false;
  ForEachStartCode(data, length, [&](uint32_t position) {
    found = ParseNaluType(data[position + kStartCodeSize]) == kNaluTypeIdr;
    return !found;
  });
  return found;
}

bool IsValidFrame(const uint8_t* data, uint32_t length) {
  bool valid = true;
  ForEachStartCode(data, length, [&](uint32_t position) {
    valid = IsAcceptedType(ParseNaluType(data[position + kStartCodeSize]));
    return valid;
  });
  return valid;
}

}  // namespace H264
}  // namespace kxrtc
