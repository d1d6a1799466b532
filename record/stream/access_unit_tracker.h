// Decides where the access units of an H.264 byte stream begin (ITU-T H.264, clauses 7.4.1.2.3 and
// 7.4.1.2.4).
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_ACCESS_UNIT_TRACKER_H_
#define RECORD_STREAM_ACCESS_UNIT_TRACKER_H_

#include <array>
#include <cstdint>
#include <optional>

#include "kxrtc/media/video/h264/pps_parser.h"
#include "kxrtc/media/video/h264/sps_parser.h"

namespace kxrtc_host {

class AccessUnitTracker {
 public:
  // Stores parameter sets for the slices that follow. Ignores identifiers that are out of range.
  void AddSps(const kxrtc::SpsParser::SpsState& sps);
  void AddPps(const kxrtc::PpsParser::PpsState& pps);

  // True if the next NAL unit starts an access unit. `data` is the header byte and the first bytes
  // of the NAL payload: 64 or more, or all. If a slice refers to unknown parameter sets, its
  // first_mb_in_slice decides.
  [[nodiscard]] bool BeginsAccessUnit(const uint8_t* data, uint32_t size);

 private:
  // The values that differ between the slices of two pictures; 0 if not in the stream.
  struct SliceHeader {
    bool is_complete = false;
    uint32_t first_mb_in_slice = 0;
    uint32_t pps_id = 0;
    uint32_t frame_num = 0;
    uint32_t field_pic_flag = 0;
    uint32_t bottom_field_flag = 0;
    uint32_t idr_pic_id = 0;
    uint32_t pic_order_cnt_lsb = 0;
    int32_t delta_pic_order_cnt[2] = {0, 0};
    uint32_t redundant_pic_cnt = 0;
    bool is_idr = false;
    bool is_reference = false;
  };

  SliceHeader ReadSliceHeader(const uint8_t* data, uint32_t size) const;
  bool ReadSliceFields(kx_utility::BitBuffer* buffer, SliceHeader* header) const;
  static bool ReadPicOrderCnt(kx_utility::BitBuffer* buffer, const kxrtc::SpsParser::SpsState& sps,
                              const kxrtc::PpsParser::PpsState& pps, SliceHeader* header);
  static bool BelongToOnePicture(const SliceHeader& a, const SliceHeader& b);

  std::array<std::optional<kxrtc::SpsParser::SpsState>, 32> sps_;
  std::array<std::optional<kxrtc::PpsParser::PpsState>, 256> pps_;
  bool has_begun_ = false;
  std::optional<SliceHeader> last_slice_;  // Of the current access unit.
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_ACCESS_UNIT_TRACKER_H_
