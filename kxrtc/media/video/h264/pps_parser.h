// Reads an H.264 picture parameter set (ITU-T H.264, clause 7.3.2.2) and the reference to one in a
// slice header (clause 7.3.3).
// `data` and `length` are a NAL payload everywhere; buffers stand on the first bit of an RBSP.
// Threads: stateless, any. The time is linear in the length, whatever counts are coded.
#ifndef KXRTC_MEDIA_VIDEO_H264_PPS_PARSER_H_
#define KXRTC_MEDIA_VIDEO_H264_PPS_PARSER_H_

#include <cstdint>
#include <memory>

#include "kx_utility/bitbuffer.h"
#include "kx_utility/export.h"

namespace kxrtc {

class KX_EXPORT PpsParser {
 public:
  // Element values as coded; identifiers are not range-checked.
  struct PpsState {
    bool bottom_field_pic_order_in_frame_present_flag = false;
    bool weighted_pred_flag = false;
    bool entropy_coding_mode_flag = false;
    uint32_t weighted_bipred_idc = 0;             // 0 to 3
    uint32_t redundant_pic_cnt_present_flag = 0;  // 0 or 1
    int32_t pic_init_qp_minus26 = 0;              // -26 to 25
    uint32_t id = 0;                              // pic_parameter_set_id
    uint32_t sps_id = 0;                          // seq_parameter_set_id
  };

  // Parses up to redundant_pic_cnt_present_flag. Null, and the failure logged, when the data ends
  // before it or pic_init_qp_minus26 is out of range.
  [[nodiscard]] static std::unique_ptr<PpsState> ParsePps(const uint8_t* data, uint32_t length);
  [[nodiscard]] static std::unique_ptr<PpsState> ParseInternal(kx_utility::BitBuffer* buffer);

  // Reads the two identifiers alone. False when the data ends; a missing second one leaves `pps_id`
  // written. A null pointer is logged and false, and nothing is written.
  [[nodiscard]] static bool ParsePpsIds(const uint8_t* data, uint32_t length, uint32_t* pps_id,
                                        uint32_t* sps_id);
  [[nodiscard]] static bool ParsePpsIdsInternal(kx_utility::BitBuffer* buffer, uint32_t* pps_id,
                                                uint32_t* sps_id);

  // The pic_parameter_set_id of a slice; null when the data ends before it. Logs nothing.
  [[nodiscard]] static std::unique_ptr<uint32_t> ParsePpsIdFromSlice(const uint8_t* data,
                                                                     uint32_t length);
};

}  // namespace kxrtc

#endif  // KXRTC_MEDIA_VIDEO_H264_PPS_PARSER_H_
