#include "record/stream/access_unit_tracker.h"

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;

// Delimiter, parameter sets, SEI and reserved types: the first of them after a picture starts the
// next access unit.
bool PrecedesPicture(uint8_t type) {
  constexpr uint8_t kLastReserved = 18;
  return (type >= H264::kNaluTypeSei && type <= H264::kNaluTypeAccessUnitDelimiter) ||
         (type >= H264::kNaluTypePrefix && type <= kLastReserved);
}

}  // namespace

bool AccessUnitTracker::BeginsAccessUnit(const uint8_t* data, uint32_t size) {
  const NalUnit unit = {data, size};
  const bool is_first = !has_begun_;
  has_begun_ = true;
  sets_.Add(unit);
  if (H264::HasSliceHeader(unit.type())) {
    const SliceHeader header = ReadSliceHeader(unit, sets_);
    const bool is_same =
        !last_slice_ || header.redundant_pic_cnt > 0 || BelongToOnePicture(*last_slice_, header);
    if (header.redundant_pic_cnt == 0) last_slice_ = header;
    return is_first || !is_same;
  }
  if (PrecedesPicture(unit.type()) && last_slice_) {
    last_slice_.reset();
    return true;
  }
  return is_first;
}

}  // namespace kxrtc_host
