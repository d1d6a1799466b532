#include "record/stream/picture_order.h"

#include <algorithm>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {

namespace H264 = kxrtc::H264;

namespace {

// No stream has more pictures between two of IDR. Keeps the products of a damaged one in range.
constexpr int64_t kMaxFrameNumber = int64_t{1} << 31;

}  // namespace

std::optional<PictureOrder> PictureOrderReader::Read(const std::vector<NalUnit>& access_unit) {
  std::optional<PictureOrder> order;
  std::optional<SliceHeader> last;
  for (const NalUnit& unit : access_unit) {
    sets_.Add(unit);
    if (!H264::HasSliceHeader(unit.type())) continue;
    const SliceHeader slice = ReadSliceHeader(unit, sets_);
    if (slice.redundant_pic_cnt > 0 || (last && BelongToOnePicture(*last, slice))) continue;
    const std::optional<PictureOrder> picture = ReadPicture(slice);
    if (!picture) return std::nullopt;
    // The second field of a frame.
    if (order && !picture->begins_sequence) {
      order->count = std::min(order->count, picture->count);
      order->max_waiting = picture->max_waiting / 2;
    } else {
      order = picture;
    }
    last = slice;
  }
  return order;
}

std::optional<PictureOrder> PictureOrderReader::ReadPicture(const SliceHeader& slice) {
  const PictureParameters* pps = sets_.Picture(slice.pps_id);
  const SequenceParameters* known = pps != nullptr ? sets_.Sequence(*pps) : nullptr;
  if (known == nullptr) return std::nullopt;
  const SequenceParameters& sps = *known;
  size_ = sps.size;
  if (!slice.is_complete) {
    if (sps.max_num_reorder_frames > 0) return std::nullopt;
    return PictureOrder{true, 0, 0};
  }
  FieldOrder order = sps.pic_order_cnt_type == 0 ? FromLsb(slice, sps) : FromFrameNum(slice, sps);
  if (slice.resets_order) Reset(slice, &order);
  PictureOrder picture;
  picture.begins_sequence = slice.is_idr || slice.resets_order;
  picture.count = std::min(order.top, order.bottom);
  // The stream counts frames. A field may be a sample of its own.
  picture.max_waiting = sps.max_num_reorder_frames;
  if (slice.is_field && picture.max_waiting > 0) picture.max_waiting = 2 * picture.max_waiting + 1;
  return picture;
}

// Clause 8.2.1.1.
PictureOrderReader::FieldOrder PictureOrderReader::FromLsb(const SliceHeader& slice,
                                                           const SequenceParameters& sps) {
  if (slice.is_idr) previous_msb_ = previous_lsb_ = 0;
  const int64_t range = int64_t{1} << sps.pic_order_cnt_lsb_bits;
  const int64_t lsb = slice.pic_order_cnt_lsb;
  int64_t msb = previous_msb_;
  if (lsb < previous_lsb_ && previous_lsb_ - lsb >= range / 2) {
    msb += range;
  } else if (lsb > previous_lsb_ && lsb - previous_lsb_ > range / 2) {
    msb -= range;
  }
  if (slice.is_reference) {
    previous_msb_ = msb;
    previous_lsb_ = lsb;
  }
  const int64_t count = msb + lsb;
  return {count, slice.is_field ? count : count + slice.delta_pic_order_cnt[0]};
}

// Clauses 8.2.1.2 and 8.2.1.3.
PictureOrderReader::FieldOrder PictureOrderReader::FromFrameNum(const SliceHeader& slice,
                                                                const SequenceParameters& sps) {
  const int64_t frame_num = slice.frame_num;
  if (slice.is_idr) {
    frame_num_offset_ = 0;
  } else if (previous_frame_num_ > frame_num) {
    frame_num_offset_ = (frame_num_offset_ + (int64_t{1} << sps.frame_num_bits)) % kMaxFrameNumber;
  }
  previous_frame_num_ = frame_num;
  const int64_t frame_number = frame_num_offset_ + frame_num;
  if (sps.pic_order_cnt_type == 2) {
    const int64_t count = slice.is_idr ? 0 : 2 * frame_number - (slice.is_reference ? 0 : 1);
    return {count, count};
  }
  const int64_t expected = ExpectedCount(frame_number, slice.is_reference, sps);
  const int64_t first = expected + slice.delta_pic_order_cnt[0];
  if (slice.is_bottom_field) {
    const int64_t bottom = first + sps.offset_for_top_to_bottom_field;
    return {bottom, bottom};
  }
  if (slice.is_field) return {first, first};
  return {first, first + sps.offset_for_top_to_bottom_field + slice.delta_pic_order_cnt[1]};
}

int64_t PictureOrderReader::ExpectedCount(int64_t frame_number, bool is_reference,
                                          const SequenceParameters& sps) {
  const auto& offsets = sps.offsets_for_ref_frame;
  const auto cycle_length = static_cast<int64_t>(offsets.size());
  int64_t number = cycle_length == 0 ? 0 : frame_number;
  if (!is_reference && number > 0) --number;
  int64_t expected = is_reference ? 0 : sps.offset_for_non_ref_pic;
  if (number == 0) return expected;
  int64_t cycle = 0;
  for (const int32_t offset : offsets) cycle += offset;
  const int64_t cycles = (number - 1) / cycle_length;
  const int64_t in_cycle = (number - 1) % cycle_length;
  expected += cycles * cycle;
  for (int64_t i = 0; i <= in_cycle; ++i) expected += offsets[static_cast<size_t>(i)];
  return expected;
}

// After an operation 5 the picture counts as one that begins at 0, and so do the next ones.
void PictureOrderReader::Reset(const SliceHeader& slice, FieldOrder* order) {
  const int64_t lowest = std::min(order->top, order->bottom);
  order->top -= lowest;
  order->bottom -= lowest;
  previous_msb_ = 0;
  previous_lsb_ = slice.is_bottom_field ? 0 : order->top;
  previous_frame_num_ = 0;
  frame_num_offset_ = 0;
}

}  // namespace kxrtc_host
