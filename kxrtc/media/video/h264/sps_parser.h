// Reads an H.264 sequence parameter set up to its VUI (ITU-T H.264, clause 7.3.2.1.1): the picture
// size and what slice headers depend on.
// Threads: stateless, any.
#ifndef KXRTC_MEDIA_VIDEO_H264_SPS_PARSER_H_
#define KXRTC_MEDIA_VIDEO_H264_SPS_PARSER_H_

#include <cstdint>

#include "kx_utility/bitbuffer.h"
#include "kx_utility/export.h"

namespace kxrtc {

class KX_EXPORT SpsParser {
 public:
  // Element values as coded, without range checks, unless stated otherwise.
  struct SpsState {
    uint32_t width = 0;   // Luma samples after cropping; modulo 2^32, as is the height.
    uint32_t height = 0;  // Luma samples after cropping, of a whole frame.
    uint32_t delta_pic_order_always_zero_flag = 0;  // Read only with pic_order_cnt_type 1.
    uint32_t separate_colour_plane_flag = 0;        // 0 unless chroma_format_idc is 3.
    uint32_t frame_mbs_only_flag = 0;
    uint32_t log2_max_frame_num_minus4 = 0;          // Without the 4.
    uint32_t log2_max_pic_order_cnt_lsb_minus4 = 0;  // The same; only with pic_order_cnt_type 0.
    uint32_t pic_order_cnt_type = 0;
    uint32_t max_num_ref_frames = 0;
    uint32_t vui_params_present = 0;
    uint32_t id = 0;  // seq_parameter_set_id
  };

  // Parses `length` bytes of NAL payload. On false the cause is logged, and `sps` has the elements
  // read before the failing one and keeps its former values elsewhere; so does an element that the
  // stream does not carry. The time is linear in `length`.
  [[nodiscard]] static bool ParseSps(const uint8_t* data, uint32_t length, SpsState& sps);

  // The same for an RBSP, from profile_idc at the buffer's position. On true the buffer is at
  // the bit after vui_parameters_present_flag.
  [[nodiscard]] static bool ParseSpsUpToVui(kx_utility::BitBuffer* buffer, SpsState& sps);
};

}  // namespace kxrtc

#endif  // KXRTC_MEDIA_VIDEO_H264_SPS_PARSER_H_
