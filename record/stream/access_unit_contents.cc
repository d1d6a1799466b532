#include "record/stream/access_unit_contents.h"

#include <algorithm>

#include "kx_utility/bitbuffer.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;

constexpr uint32_t kSpsFixedBytes = 3;  // Profile, constraints, level.
constexpr uint32_t kHeadBytes = 64;     // Enough for the elements read here.

}  // namespace

std::optional<uint32_t> ParameterSetId(const uint8_t* nal_unit, uint32_t size) {
  const uint8_t type = H264::ParseNaluType(nal_unit[0]);
  const bool is_sps = type == H264::kNaluTypeSps;
  if (!is_sps && type != H264::kNaluTypePps) return std::nullopt;
  if (size > kMaxParameterSetSize || (is_sps && size <= 1 + kSpsFixedBytes)) return std::nullopt;
  const std::vector<uint8_t> head = H264::ParseRbsp(nal_unit + 1, std::min(size - 1, kHeadBytes));
  kx_utility::BitBuffer reader(head.data(), static_cast<uint32_t>(head.size()));
  uint32_t id = 0;
  if ((is_sps && !reader.ConsumeBytes(kSpsFixedBytes)) || !reader.ReadExponentialGolomb(&id) ||
      id > (is_sps ? kMaxSequenceId : kMaxPictureId)) {
    return std::nullopt;
  }
  return id;
}

void AccessUnitContents::Add(const uint8_t* nal_unit, uint32_t size) {
  const uint8_t type = H264::ParseNaluType(nal_unit[0]);
  slice |= H264::IsPictureData(type);
  idr |= type == H264::kNaluTypeIdr;
  const bool is_sps = type == H264::kNaluTypeSps;
  const bool is_pps = type == H264::kNaluTypePps;
  if (!is_sps && !is_pps) return;
  (is_sps ? sps : pps) = true;
  if (ParameterSetId(nal_unit, size)) (is_sps ? usable_sps : usable_pps) = true;
}

AccessUnitContents ContentsOf(const uint8_t* data, const std::vector<H264::NaluIndex>& nal_units) {
  AccessUnitContents contents;
  for (const H264::NaluIndex& unit : nal_units) {
    uint32_t length = unit.payload_size;
    // Zero bytes in front of the next start code belong to neither.
    while (length > 0 && data[unit.payload_start_offset + length - 1] == 0) --length;
    if (length > 0) contents.Add(data + unit.payload_start_offset, length);
  }
  return contents;
}

AccessUnitContents ContentsOf(const uint8_t* data, uint32_t size) {
  return ContentsOf(data, H264::FindNaluIndices(data, size));
}

}  // namespace kxrtc_host
