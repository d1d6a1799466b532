// The beginning of a slice (ITU-T H.264, 7.3.3): to which picture it belongs and when that is
// shown. Threads: any.
#ifndef RECORD_STREAM_SLICE_HEADER_H_
#define RECORD_STREAM_SLICE_HEADER_H_

#include <array>
#include <cstdint>

#include "record/stream/annex_b.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {

// Elements that the stream does not carry are 0.
struct SliceHeader {
  bool is_identified = false;  // Read up to redundant_pic_cnt.
  bool is_complete = false;    // Read to its end, dec_ref_pic_marking included.
  bool is_idr = false;
  bool is_reference = false;
  uint32_t first_mb_in_slice = 0;
  uint32_t pps_id = 0;
  uint32_t frame_num = 0;
  bool is_field = false;
  bool is_bottom_field = false;
  uint32_t idr_pic_id = 0;
  uint32_t pic_order_cnt_lsb = 0;
  std::array<int32_t, 2> delta_pic_order_cnt = {};  // With type 0, the first is that of the bottom.
  uint32_t redundant_pic_cnt = 0;
  bool resets_order = false;  // memory_management_control_operation 5.
  uint32_t rbsp_bytes = 0;    // So many bytes of the RBSP decide all this.
};

// Enough bytes of a slice for any header.
inline constexpr uint32_t kMaxSliceHeaderBytes = 1024;

// `unit` has a slice header (kxrtc::H264::HasSliceHeader) and may be cut. With unknown parameter
// sets only the first elements are read.
SliceHeader ReadSliceHeader(const NalUnit& unit, const PictureParameterSets& sets);

// True if both slices belong to one primary picture (clause 7.4.1.2.4). Of headers that are not
// identified, first_mb_in_slice decides.
bool BelongToOnePicture(const SliceHeader& a, const SliceHeader& b);

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_SLICE_HEADER_H_
