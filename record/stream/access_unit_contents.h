// What an access unit (ITU-T H.264, clause 7.4.1.2.3) contains, as far as an MP4 writer asks.
// Threads: plain values.
#ifndef RECORD_STREAM_ACCESS_UNIT_CONTENTS_H_
#define RECORD_STREAM_ACCESS_UNIT_CONTENTS_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {

// Bytes of the longest parameter set that an MP4 can contain: its length has 16 bits.
inline constexpr uint32_t kMaxParameterSetSize = 0xFFFF;

// The id of a sequence or picture parameter set, from its header byte and NAL payload; none for
// another NAL unit, an id out of range (ITU-T H.264, 7.4.2.1.1 and 7.4.2.2), or a set that is too
// short, or too long for an MP4.
std::optional<uint32_t> ParameterSetId(const uint8_t* nal_unit, uint32_t size);

struct AccessUnitContents {
  bool slice = false;  // Picture data.
  bool idr = false;    // The picture is an IDR picture.
  bool sps = false;    // There is a sequence parameter set, usable or not.
  bool pps = false;
  bool usable_sps = false;
  bool usable_pps = false;

  // The next NAL unit: header byte and NAL payload, at least one byte.
  void Add(const uint8_t* nal_unit, uint32_t size);
};

// The contents of Annex B stream whose NAL units are known.
AccessUnitContents ContentsOf(const uint8_t* data,
                              const std::vector<kxrtc::H264::NaluIndex>& nal_units);

// The same for `size` bytes.
AccessUnitContents ContentsOf(const uint8_t* data, uint32_t size);

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_ACCESS_UNIT_CONTENTS_H_
