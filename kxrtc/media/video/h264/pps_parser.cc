#include "kxrtc/media/video/h264/pps_parser.h"

#include <algorithm>
#include <vector>

#include "kx_utility/failure_log.h"
#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc {
namespace {

using kx_utility::BitBuffer;
using kx_utility::Failed;

bool SkipGolombCodes(BitBuffer* buffer, uint64_t count) {
  uint32_t ignored = 0;
  for (uint64_t i = 0; i < count; ++i) {
    if (!buffer->ReadExponentialGolomb(&ignored)) return false;
  }
  return true;
}

bool SkipSliceGroupIds(BitBuffer* buffer, uint32_t num_slice_groups) {
  uint32_t pic_size_in_map_units_minus1 = 0;
  if (!buffer->ReadExponentialGolomb(&pic_size_in_map_units_minus1)) return false;
  // Intended: wider than the Ceil(Log2(num_slice_groups)) bits of clause 7.4.2.2.
  const bool power_of_two = (num_slice_groups & (num_slice_groups - 1)) == 0;
  const uint32_t width = kx_utility::CountBits(num_slice_groups) + (power_of_two ? 0 : 1);
  uint32_t ignored = 0;
  for (uint32_t i = 0; i <= pic_size_in_map_units_minus1; ++i) {
    if (!buffer->ReadBits(&ignored, width)) return false;
  }
  return true;
}

bool SkipSliceGroups(BitBuffer* buffer, uint32_t num_slice_groups_minus1) {
  const uint32_t num_slice_groups = num_slice_groups_minus1 + 1;
  uint32_t map_type = 0;
  if (!buffer->ReadExponentialGolomb(&map_type)) return false;
  switch (map_type) {
    case 0:  // run_length_minus1
      return SkipGolombCodes(buffer, num_slice_groups);
    case 2:  // Intended: top_left and bottom_right of one pair more than clause 7.3.2.2 has.
      return SkipGolombCodes(buffer, 2 * static_cast<uint64_t>(num_slice_groups));
    case 3:
    case 4:
    case 5:  // slice_group_change_direction_flag and slice_group_change_rate_minus1
      return buffer->ConsumeBits(1) && SkipGolombCodes(buffer, 1);
    case 6:
      return SkipSliceGroupIds(buffer, num_slice_groups);
    default:
      return true;
  }
}

bool ReadFlag(BitBuffer* buffer, bool* flag) {
  uint32_t bit = 0;
  if (!buffer->ReadBits(&bit, 1)) return false;
  *flag = bit != 0;
  return true;
}

bool ReadPps(BitBuffer* buffer, PpsParser::PpsState* pps) {
  uint32_t num_slice_groups_minus1 = 0;
  return PpsParser::ParsePpsIdsInternal(buffer, &pps->id, &pps->sps_id) &&
         ReadFlag(buffer, &pps->entropy_coding_mode_flag) &&
         ReadFlag(buffer, &pps->bottom_field_pic_order_in_frame_present_flag) &&
         buffer->ReadExponentialGolomb(&num_slice_groups_minus1) &&
         (num_slice_groups_minus1 == 0 || SkipSliceGroups(buffer, num_slice_groups_minus1)) &&
         SkipGolombCodes(buffer, 2) &&  // num_ref_idx_l0 and l1_default_active_minus1
         ReadFlag(buffer, &pps->weighted_pred_flag) &&
         buffer->ReadBits(&pps->weighted_bipred_idc, 2) &&
         buffer->ReadSignedExponentialGolomb(&pps->pic_init_qp_minus26) &&
         pps->pic_init_qp_minus26 >= -26 && pps->pic_init_qp_minus26 <= 25 &&
         // Intended: signed codes read as unsigned ones; the values are of no use here.
         SkipGolombCodes(buffer, 2) &&  // pic_init_qs_minus26, chroma_qp_index_offset
         buffer->ConsumeBits(2) &&      // deblocking_filter_control_present, constrained_intra_pred
         buffer->ReadBits(&pps->redundant_pic_cnt_present_flag, 1);
}

}  // namespace

std::unique_ptr<PpsParser::PpsState> PpsParser::ParsePps(const uint8_t* data, uint32_t length) {
  const std::vector<uint8_t> rbsp = H264::ParseRbsp(data, length);
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  return ParseInternal(&buffer);
}

std::unique_ptr<PpsParser::PpsState> PpsParser::ParseInternal(BitBuffer* buffer) {
  auto pps = std::make_unique<PpsState>();
  if (!ReadPps(buffer, pps.get())) {
    (void)Failed("failed to parse PPS");
    return nullptr;
  }
  return pps;
}

bool PpsParser::ParsePpsIds(const uint8_t* data, uint32_t length, uint32_t* pps_id,
                            uint32_t* sps_id) {
  if (pps_id == nullptr) return Failed("pps_id is nullptr ");
  if (sps_id == nullptr) return Failed("sps_id is nullptr ");
  const std::vector<uint8_t> rbsp = H264::ParseRbsp(data, length);
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  return ParsePpsIdsInternal(&buffer, pps_id, sps_id);
}

bool PpsParser::ParsePpsIdsInternal(BitBuffer* buffer, uint32_t* pps_id, uint32_t* sps_id) {
  return buffer->ReadExponentialGolomb(pps_id) && buffer->ReadExponentialGolomb(sps_id);
}

std::unique_ptr<uint32_t> PpsParser::ParsePpsIdFromSlice(const uint8_t* data, uint32_t length) {
  // Three codes of at most 63 bits lie in the first 24 bytes of the RBSP, and those in this many
  // bytes of the payload.
  constexpr uint32_t kEnoughPayload = 48;
  const std::vector<uint8_t> rbsp = H264::ParseRbsp(data, std::min(length, kEnoughPayload));
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  uint32_t pps_id = 0;
  if (!SkipGolombCodes(&buffer, 2) || !buffer.ReadExponentialGolomb(&pps_id)) return nullptr;
  return std::make_unique<uint32_t>(pps_id);
}

}  // namespace kxrtc
