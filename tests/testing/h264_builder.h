// Writes H.264 parameter sets element by element (ITU-T H.264, clause 7.3.2).
#ifndef TESTS_TESTING_H264_BUILDER_H_
#define TESTS_TESTING_H264_BUILDER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"

namespace kx_testing {

// An SPS from profile_idc up to vui_parameters_present_flag. As it stands: Baseline, 1280x720,
// pic_order_cnt_type 0, one reference frame, no VUI.
struct SpsFields {
  uint32_t profile_idc = 66;
  uint32_t id = 0;
  bool chroma_fields = false;  // Whether the profile codes those up to the scaling lists.
  uint32_t chroma_format_idc = 1;
  uint32_t separate_colour_plane_flag = 0;
  std::string scaling_list_present_flags;  // Empty: no scaling matrix.
  uint32_t log2_max_frame_num_minus4 = 0;
  uint32_t pic_order_cnt_type = 0;
  uint32_t log2_max_pic_order_cnt_lsb_minus4 = 2;
  uint32_t delta_pic_order_always_zero_flag = 0;
  std::vector<int32_t> offsets_for_ref_frame;
  uint32_t max_num_ref_frames = 1;
  uint32_t pic_width_in_mbs_minus1 = 79;
  uint32_t pic_height_in_map_units_minus1 = 44;
  uint32_t frame_mbs_only_flag = 1;
  std::vector<uint32_t> crop;  // Left, right, top, bottom; empty: no cropping.
  uint32_t vui_parameters_present_flag = 0;

  BitString Write() const {
    BitString bits;
    bits.U(8, profile_idc).U(8, 0xC0).U(8, 31).Ue(id);
    if (chroma_fields) {
      bits.Ue(chroma_format_idc);
      if (chroma_format_idc == 3) bits.U(1, separate_colour_plane_flag);
      bits.Ue(0).Ue(2).U(1, 0).U(1, scaling_list_present_flags.empty() ? 0 : 1);
      bits.Append(BitString(scaling_list_present_flags));
    }
    bits.Ue(log2_max_frame_num_minus4).Ue(pic_order_cnt_type);
    if (pic_order_cnt_type == 0) bits.Ue(log2_max_pic_order_cnt_lsb_minus4);
    if (pic_order_cnt_type == 1) {
      bits.U(1, delta_pic_order_always_zero_flag).Se(-3).Se(5).Ue(offsets_for_ref_frame.size());
      for (const int32_t offset : offsets_for_ref_frame) bits.Se(offset);
    }
    bits.Ue(max_num_ref_frames).U(1, 0);
    bits.Ue(pic_width_in_mbs_minus1).Ue(pic_height_in_map_units_minus1).U(1, frame_mbs_only_flag);
    if (frame_mbs_only_flag == 0) bits.U(1, 1);
    bits.U(1, 1).U(1, crop.empty() ? 0 : 1);
    for (const uint32_t offset : crop) bits.Ue(offset);
    return bits.U(1, vui_parameters_present_flag);
  }
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_H264_BUILDER_H_
