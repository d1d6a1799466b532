// From access units (Annex B, start codes included) to MP4 samples, whose NAL units carry their
// length in front (ISO/IEC 14496-15).
// Threads: any.
#ifndef HOST_ANNEX_B_H_
#define HOST_ANNEX_B_H_

#include <cstdint>
#include <vector>

#include "kx_utility/raw_buffer.h"

namespace kxrtc_host {

// nal_unit_type (ITU-T H.264 table 7-1) of those that the writer looks at.
enum NalUnitType : uint8_t {
  kNalSlice = 1,
  kNalIdrSlice = 5,
  kNalSps = 7,
  kNalPps = 8,
  kNalAccessUnitDelimiter = 9,
};

// One NAL unit inside somebody's access unit: header byte and payload, at least one byte.
struct NalUnit {
  const uint8_t* data;
  uint32_t size;

  uint8_t type() const { return data[0] & 0x1F; }
  bool IsSlice() const { return type() >= kNalSlice && type() <= kNalIdrSlice; }
};

// Replaces `*units` by the NAL units of `data`. Zero bytes between a NAL unit and the next start
// code belong to neither; bytes before the first start code are skipped, empty NAL units are left
// out.
void SplitAccessUnit(const uint8_t* data, uint32_t size, std::vector<NalUnit>* units);

// Appends the length of `unit` in four bytes and the unit itself. False when the buffer is full.
[[nodiscard]] bool AppendWithLength(const NalUnit& unit, kx_utility::RawBuffer* sample);

}  // namespace kxrtc_host

#endif  // HOST_ANNEX_B_H_
