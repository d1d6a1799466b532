#include "host/annex_b.h"

#include <cstring>

namespace kxrtc_host {
namespace {

constexpr uint32_t kStartCodeSize = 3;

// The first 00 00 01 at or after `from`; `end` if there is none. Looks for the rare byte 01 with
// the C library's vectorised search.
const uint8_t* FindStartCode(const uint8_t* from, const uint8_t* end) {
  while (end - from >= static_cast<ptrdiff_t>(kStartCodeSize)) {
    const auto* one =
        static_cast<const uint8_t*>(std::memchr(from + 2, 1, static_cast<size_t>(end - from) - 2));
    if (one == nullptr) return end;
    if (one[-1] == 0 && one[-2] == 0) return one - 2;
    from = one - 1;
  }
  return end;
}

}  // namespace

void SplitAccessUnit(const uint8_t* data, uint32_t size, std::vector<NalUnit>* units) {
  units->clear();
  const uint8_t* const end = data + size;
  const uint8_t* start_code = FindStartCode(data, end);
  while (start_code != end) {
    const uint8_t* const begin = start_code + kStartCodeSize;
    start_code = FindStartCode(begin, end);
    const uint8_t* last = start_code;
    while (last != begin && last[-1] == 0) --last;
    if (last != begin) units->push_back({begin, static_cast<uint32_t>(last - begin)});
  }
}

bool AppendWithLength(const NalUnit& unit, kx_utility::RawBuffer* sample) {
  const uint8_t length[] = {static_cast<uint8_t>(unit.size >> 24),
                            static_cast<uint8_t>(unit.size >> 16),
                            static_cast<uint8_t>(unit.size >> 8), static_cast<uint8_t>(unit.size)};
  return sample->AppendData(length, sizeof(length)) && sample->AppendData(unit.data, unit.size);
}

}  // namespace kxrtc_host
