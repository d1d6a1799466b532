#include "kxrtc/media/video/h264/nal_unit.h"

#include <algorithm>
#include <cstddef>

#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/zero_pair_search.h"

namespace kxrtc {
namespace H264 {
namespace {

constexpr uint8_t kEscapeByte = 3;
constexpr size_t kUsualNaluCount = 4;  // Of a frame: most need no second allocation.

constexpr ThirdByte kStartCode = {1, 0xFF};    // Annex B.
constexpr ThirdByte kEscape = {3, 0xFF};       // What clause 7.4.1 takes out of a NAL payload,
constexpr ThirdByte kNeedsEscape = {0, 0xFC};  // and where it puts an escape into an RBSP.

// Calls `visit` with the position of each start code that has a NAL header byte behind it, in
// order, until it returns false.
template <typename Visitor>
void ForEachStartCode(const uint8_t* data, uint32_t length, Visitor visit) {
  for (uint32_t i = FindStartCode(data, length, 0); i < length;
       i = FindStartCode(data, length, i + kStartCodeSize)) {
    if (!visit(i)) return;
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

}  // namespace

uint32_t FindStartCode(const uint8_t* data, uint32_t length, uint32_t from) {
  if (length <= kStartCodeSize) return length;
  const size_t end = length - kStartCodeSize;
  const size_t found = FindZeroPair(data, from, end, kStartCode);
  return found < end ? static_cast<uint32_t>(found) : length;
}

std::vector<NaluIndex> FindNaluIndices(const uint8_t* data, uint32_t length) {
  std::vector<NaluIndex> result;
  result.reserve(kUsualNaluCount);
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
  for (size_t i = FindZeroPair(data, 0, end, kEscape); i < end;
       i = FindZeroPair(data, copied, end, kEscape)) {
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
  for (size_t i = FindZeroPair(bytes, 0, end, kNeedsEscape); i < end;
       i = FindZeroPair(bytes, copied, end, kNeedsEscape)) {
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
    valid = IsValidInFrame(ParseNaluType(data[position + kStartCodeSize]));
    return valid;
  });
  return valid;
}

}  // namespace H264
}  // namespace kxrtc
