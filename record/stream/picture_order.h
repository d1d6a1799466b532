// Reads where pictures stand in the display order of their stream (ITU-T H.264, 8.2.1).
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_PICTURE_ORDER_H_
#define RECORD_STREAM_PICTURE_ORDER_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "record/stream/annex_b.h"
#include "record/stream/picture_parameters.h"
#include "record/stream/slice_header.h"

namespace kxrtc_host {

struct PictureOrder {
  bool begins_sequence = false;  // All earlier pictures are shown before this one.
  int64_t count = 0;             // Since then; the lower picture order count of two fields.
  uint32_t max_waiting = 0;      // So many pictures may come before one that is shown earlier.
};

class PictureOrderReader {
 public:
  // The order of the picture or pictures of one access unit, whose parameter sets are kept.
  // Nothing: the access unit has no slice, or its order cannot be read.
  std::optional<PictureOrder> Read(const std::vector<NalUnit>& access_unit);

  // The size of the latest picture whose parameter sets are known.
  const PictureSize& size() const { return size_; }

 private:
  struct FieldOrder {
    int64_t top;
    int64_t bottom;
  };

  std::optional<PictureOrder> ReadPicture(const SliceHeader& slice);
  FieldOrder FromLsb(const SliceHeader& slice, const SequenceParameters& sps);
  FieldOrder FromFrameNum(const SliceHeader& slice, const SequenceParameters& sps);
  int64_t ExpectedCount(int64_t frame_number, bool is_reference, const SequenceParameters& sps);
  void Reset(const SliceHeader& slice, FieldOrder* order);

  PictureParameterSets sets_;
  PictureSize size_;
  // Of the previous reference picture, with type 0.
  int64_t previous_msb_ = 0;
  int64_t previous_lsb_ = 0;
  // Of the previous picture, with types 1 and 2.
  int64_t previous_frame_num_ = 0;
  int64_t frame_num_offset_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_PICTURE_ORDER_H_
