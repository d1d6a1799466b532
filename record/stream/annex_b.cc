#include "record/stream/annex_b.h"

#include <algorithm>

namespace kxrtc_host {
namespace {

using kxrtc::H264::FindStartCode;
using kxrtc::H264::kStartCodeSize;

constexpr uint32_t kLengthSize = 4;  // Before each NAL unit of a sample.

bool EndsWithStartCode(const uint8_t* data, uint32_t size) {
  const uint8_t* const end = data + size;
  return size >= kStartCodeSize && end[-3] == 0 && end[-2] == 0 && end[-1] == 1;
}

}  // namespace

void SplitAccessUnit(const uint8_t* data, uint32_t size, std::vector<NalUnit>* units) {
  units->clear();
  // The library ignores a start code without a NAL unit after it.
  while (EndsWithStartCode(data, size)) size -= kStartCodeSize;
  for (uint32_t start_code = FindStartCode(data, size, 0); start_code < size;) {
    const uint32_t begin = start_code + kStartCodeSize;
    start_code = FindStartCode(data, size, begin);
    uint32_t end = start_code;
    while (end > begin && data[end - 1] == 0) --end;
    if (end > begin) units->push_back({data + begin, end - begin});
  }
}

uint64_t SampleSize(const std::vector<NalUnit>& units) {
  uint64_t size = 0;
  for (const NalUnit& unit : units) size += kLengthSize + unit.size;
  return size;
}

void PutSample(const std::vector<NalUnit>& units, uint8_t* sample) {
  for (const NalUnit& unit : units) {
    for (uint32_t i = 0; i < kLengthSize; ++i) {
      *sample++ = static_cast<uint8_t>(unit.size >> (8 * (kLengthSize - 1 - i)));
    }
    sample = std::copy_n(unit.data, unit.size, sample);
  }
}

}  // namespace kxrtc_host
