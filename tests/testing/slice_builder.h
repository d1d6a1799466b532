// Writes parameter sets and slices of small H.264 streams (ITU-T H.264, 7.3.2.1, 7.3.2.2 and 7.3.3)
// by hand, independently of the readers under test.
#ifndef TESTS_TESTING_SLICE_BUILDER_H_
#define TESTS_TESTING_SLICE_BUILDER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/h264_builder.h"

namespace kx_testing {

// A NAL unit with its start code, from the header byte and the RBSP without its trailing bits.
inline std::string Unit(uint8_t header, BitString payload) {
  const std::vector<uint8_t> bytes = payload.Trailing().Bytes();
  std::string unit("\0\0\1", 3);
  unit += static_cast<char>(header);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool needs_escape = unit.size() >= 2 && unit[unit.size() - 1] == 0 &&
                              unit[unit.size() - 2] == 0 && bytes[i] <= 3;
    if (needs_escape) unit += '\3';
    unit += static_cast<char>(bytes[i]);
  }
  return unit;
}

// A stream whose parameter sets both have the id 0; frame_num has 4 bits.
struct Stream {
  SpsFields sps;
  bool pic_order_present = false;
  bool redundant_pic_cnt_present = false;

  std::string Sets() const {
    BitString pps;
    pps.Ue(0).Ue(0).U(1, 0).U(1, pic_order_present).Ue(0).Ue(0).Ue(0).U(1, 0).U(2, 0);
    pps.Se(0).Se(0).Se(0).U(2, 0).U(1, redundant_pic_cnt_present);
    return Unit(0x67, sps.Write()) + Unit(0x68, pps);
  }
};

struct Slice {
  bool idr = false;
  bool reference = true;
  uint8_t ref_idc = 3;  // nal_ref_idc of a reference.
  uint32_t type = 7;    // I in all slices of the picture.
  uint32_t first_mb = 0;
  uint32_t frame_num = 0;
  uint32_t idr_pic_id = 0;
  uint32_t lsb = 0;
  int32_t delta[2] = {0, 0};
  bool field = false;
  bool bottom = false;
  uint32_t redundant_pic_cnt = 0;
  bool resets_order = false;
};

// The slice as a NAL unit of the stream, with bytes that stand for its data.
inline std::string Write(const Stream& stream, const Slice& slice) {
  BitString bits;
  bits.Ue(slice.first_mb).Ue(slice.type).Ue(0).U(4, slice.frame_num);
  if (stream.sps.frame_mbs_only_flag == 0) bits.U(1, slice.field);
  if (slice.field) bits.U(1, slice.bottom);
  if (slice.idr) bits.Ue(slice.idr_pic_id);
  const bool has_bottom = stream.pic_order_present && !slice.field;
  if (stream.sps.pic_order_cnt_type == 0) {
    bits.U(static_cast<int>(stream.sps.log2_max_pic_order_cnt_lsb_minus4 + 4), slice.lsb);
    if (has_bottom) bits.Se(slice.delta[0]);
  } else if (stream.sps.pic_order_cnt_type == 1 &&
             stream.sps.delta_pic_order_always_zero_flag == 0) {
    bits.Se(slice.delta[0]);
    if (has_bottom) bits.Se(slice.delta[1]);
  }
  if (stream.redundant_pic_cnt_present) bits.Ue(slice.redundant_pic_cnt);
  if (slice.type % 5 == 0) bits.U(1, 0).U(1, 0);  // Lists of P slices as in the PPS.
  if (slice.reference && slice.idr) bits.U(2, 0);
  if (slice.reference && !slice.idr) {
    bits.U(1, slice.resets_order);
    if (slice.resets_order) bits.Ue(1).Ue(3).Ue(5).Ue(0);
  }
  bits.Se(0).U(32, 0xAAAAAAAA);
  const int ref_idc = slice.reference ? slice.ref_idc : 0;
  const auto header = static_cast<uint8_t>(ref_idc << 5 | (slice.idr ? 5 : 1));
  return Unit(header, bits);
}

inline Slice Idr() {
  Slice slice;
  slice.idr = true;
  return slice;
}
inline Slice Frame(uint32_t frame_num, uint32_t lsb, bool reference = true) {
  Slice slice;
  slice.frame_num = frame_num;
  slice.lsb = lsb;
  slice.reference = reference;
  return slice;
}
inline Slice Field(uint32_t frame_num, uint32_t lsb, bool bottom) {
  Slice slice = Frame(frame_num, lsb);
  slice.field = true;
  slice.bottom = bottom;
  return slice;
}
inline Slice Resetting(Slice slice) {
  slice.resets_order = true;
  return slice;
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_SLICE_BUILDER_H_
