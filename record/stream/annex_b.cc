#include "record/stream/annex_b.h"

namespace kxrtc_host {
namespace {

using kxrtc::H264::FindStartCode;
using kxrtc::H264::kStartCodeSize;

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

bool AppendWithLength(const NalUnit& unit, kx_utility::RawBuffer* sample) {
  const uint8_t length[] = {static_cast<uint8_t>(unit.size >> 24),
                            static_cast<uint8_t>(unit.size >> 16),
                            static_cast<uint8_t>(unit.size >> 8), static_cast<uint8_t>(unit.size)};
  return sample->AppendData(length, sizeof(length)) && sample->AppendData(unit.data, unit.size);
}

}  // namespace kxrtc_host
