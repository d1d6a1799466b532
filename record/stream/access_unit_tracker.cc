#include "record/stream/access_unit_tracker.h"

#include <algorithm>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {
namespace {

using kx_utility::BitBuffer;
using kxrtc::PpsParser;
using kxrtc::SpsParser;
namespace H264 = kxrtc::H264;

// Enough for the elements read here.
constexpr uint32_t kMaxSliceHeader = 64;

// Delimiter, parameter sets, SEI and reserved types: the first of them after a picture starts the
// next access unit.
bool PrecedesPicture(uint8_t type) {
  constexpr uint8_t kLastReserved = 18;
  return (type >= H264::kNaluTypeSei && type <= H264::kNaluTypeAccessUnitDelimiter) ||
         (type >= H264::kNaluTypePrefix && type <= kLastReserved);
}

}  // namespace

void AccessUnitTracker::AddSps(const SpsParser::SpsState& sps) {
  if (sps.id < sps_.size()) sps_[sps.id] = sps;
}

void AccessUnitTracker::AddPps(const PpsParser::PpsState& pps) {
  if (pps.id < pps_.size()) pps_[pps.id] = pps;
}

bool AccessUnitTracker::BeginsAccessUnit(const uint8_t* data, uint32_t size) {
  const bool is_first = !has_begun_;
  has_begun_ = true;
  const uint8_t type = H264::ParseNaluType(data[0]);
  if (H264::HasSliceHeader(type)) {
    const SliceHeader header = ReadSliceHeader(data, size);
    const bool is_same =
        !last_slice_ || header.redundant_pic_cnt > 0 || BelongToOnePicture(*last_slice_, header);
    if (header.redundant_pic_cnt == 0) last_slice_ = header;
    return is_first || !is_same;
  }
  if (PrecedesPicture(type) && last_slice_) {
    last_slice_.reset();
    return true;
  }
  return is_first;
}

AccessUnitTracker::SliceHeader AccessUnitTracker::ReadSliceHeader(const uint8_t* data,
                                                                  uint32_t size) const {
  SliceHeader header;
  header.is_idr = H264::ParseNaluType(data[0]) == H264::kNaluTypeIdr;
  header.is_reference = H264::ParseNalRefIdc(data[0]) != 0;
  const std::vector<uint8_t> rbsp = H264::ParseRbsp(data + 1, std::min(size - 1, kMaxSliceHeader));
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  header.is_complete = ReadSliceFields(&buffer, &header);
  return header;
}

bool AccessUnitTracker::ReadSliceFields(BitBuffer* buffer, SliceHeader* header) const {
  uint32_t slice_type = 0;
  if (!(buffer->ReadExponentialGolomb(&header->first_mb_in_slice) &&
        buffer->ReadExponentialGolomb(&slice_type) &&
        buffer->ReadExponentialGolomb(&header->pps_id)) ||
      header->pps_id >= pps_.size() || !pps_[header->pps_id]) {
    return false;
  }
  const PpsParser::PpsState& pps = *pps_[header->pps_id];
  if (pps.sps_id >= sps_.size() || !sps_[pps.sps_id]) return false;
  const SpsParser::SpsState& sps = *sps_[pps.sps_id];
  if (sps.log2_max_frame_num_minus4 > 12 || sps.log2_max_pic_order_cnt_lsb_minus4 > 12) {
    return false;
  }
  const bool fields_read =
      (sps.separate_colour_plane_flag == 0 || buffer->ConsumeBits(2)) &&
      buffer->ReadBits(&header->frame_num, sps.log2_max_frame_num_minus4 + 4) &&
      (sps.frame_mbs_only_flag != 0 || buffer->ReadBits(&header->field_pic_flag, 1)) &&
      (header->field_pic_flag == 0 || buffer->ReadBits(&header->bottom_field_flag, 1)) &&
      (!header->is_idr || buffer->ReadExponentialGolomb(&header->idr_pic_id));
  return fields_read && ReadPicOrderCnt(buffer, sps, pps, header) &&
         (pps.redundant_pic_cnt_present_flag == 0 ||
          buffer->ReadExponentialGolomb(&header->redundant_pic_cnt));
}

bool AccessUnitTracker::ReadPicOrderCnt(BitBuffer* buffer, const SpsParser::SpsState& sps,
                                        const PpsParser::PpsState& pps, SliceHeader* header) {
  const bool has_bottom =
      pps.bottom_field_pic_order_in_frame_present_flag && header->field_pic_flag == 0;
  if (sps.pic_order_cnt_type == 0) {
    return buffer->ReadBits(&header->pic_order_cnt_lsb,
                            sps.log2_max_pic_order_cnt_lsb_minus4 + 4) &&
           (!has_bottom || buffer->ReadSignedExponentialGolomb(&header->delta_pic_order_cnt[0]));
  }
  if (sps.pic_order_cnt_type == 1 && sps.delta_pic_order_always_zero_flag == 0) {
    return buffer->ReadSignedExponentialGolomb(&header->delta_pic_order_cnt[0]) &&
           (!has_bottom || buffer->ReadSignedExponentialGolomb(&header->delta_pic_order_cnt[1]));
  }
  return true;
}

bool AccessUnitTracker::BelongToOnePicture(const SliceHeader& a, const SliceHeader& b) {
  if (a.is_idr != b.is_idr || a.is_reference != b.is_reference) return false;
  if (!a.is_complete || !b.is_complete) return b.first_mb_in_slice != 0;
  return a.pps_id == b.pps_id && a.frame_num == b.frame_num &&
         a.field_pic_flag == b.field_pic_flag && a.bottom_field_flag == b.bottom_field_flag &&
         a.idr_pic_id == b.idr_pic_id && a.pic_order_cnt_lsb == b.pic_order_cnt_lsb &&
         a.delta_pic_order_cnt[0] == b.delta_pic_order_cnt[0] &&
         a.delta_pic_order_cnt[1] == b.delta_pic_order_cnt[1];
}

}  // namespace kxrtc_host
