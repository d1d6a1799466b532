// What slice headers and the display order depend on in the parameter sets of a stream (ITU-T
// H.264, 7.3.2.1.1, 7.3.2.2 and E.1.1). The library's parsers stop at scaling lists and before the
// elements of the display order.
// Threads: any.
#ifndef RECORD_STREAM_PICTURE_PARAMETERS_H_
#define RECORD_STREAM_PICTURE_PARAMETERS_H_

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "record/stream/annex_b.h"

namespace kxrtc_host {

struct PictureSize {
  uint32_t width = 0;  // Luma samples after cropping.
  uint32_t height = 0;

  bool operator<(const PictureSize& other) const {
    return width != other.width ? width < other.width : height < other.height;
  }
};

struct SequenceParameters {
  uint32_t id = 0;
  PictureSize size;
  bool separate_colour_plane = false;
  bool has_chroma = true;  // ChromaArrayType is not 0.
  uint32_t frame_num_bits = 4;
  uint32_t pic_order_cnt_type = 0;
  uint32_t pic_order_cnt_lsb_bits = 4;       // With type 0.
  bool delta_pic_order_always_zero = false;  // This and the next three: with type 1.
  int32_t offset_for_non_ref_pic = 0;
  int32_t offset_for_top_to_bottom_field = 0;
  std::vector<int32_t> offsets_for_ref_frame;
  bool frame_mbs_only = true;
  uint32_t max_num_reorder_frames = 0;  // If the stream does not say: the most that H.264 allows.
};

struct PictureParameters {
  uint32_t id = 0;
  uint32_t sequence_id = 0;
  bool bottom_field_pic_order_in_frame_present = false;
  std::array<uint32_t, 2> num_ref_idx_active = {1, 1};  // Of both lists, unless a slice differs.
  bool weighted_pred = false;
  uint32_t weighted_bipred_idc = 0;
  bool redundant_pic_cnt_present = false;
};

inline constexpr uint32_t kMaxSequenceId = 31;  // ITU-T H.264, 7.4.2.1.1.
inline constexpr uint32_t kMaxPictureId = 255;
inline constexpr uint32_t kMaxReorderFrames = 16;  // MaxDpbFrames of A.3.1 at most.
inline constexpr uint32_t kMaxRefIdx = 32;
inline constexpr uint32_t kMaxMacroblocks =
    1024;  // Of a row or column: wider than any level allows.

// True for profiles whose sequence parameter set has the chroma format (7.3.2.1.1).
bool TellsChromaFormat(uint8_t profile);

// Nothing: the set ends too early or has a value that H.264 does not allow.
std::optional<SequenceParameters> ReadSequenceParameters(const NalUnit& unit);
std::optional<PictureParameters> ReadPictureParameters(const NalUnit& unit);

// The parameter sets of a stream by their ids.
// Threads: an object belongs to one thread at a time.
class PictureParameterSets {
 public:
  // Stores `unit` if it is a parameter set. One that cannot be read removes nothing.
  void Add(const NalUnit& unit);

  // Both sets that a slice refers to, null if one of them is missing. Valid until the next change.
  const PictureParameters* Picture(uint32_t id) const;
  const SequenceParameters* Sequence(const PictureParameters& picture) const;

 private:
  std::array<std::optional<SequenceParameters>, kMaxSequenceId + 1> sequences_;
  std::array<std::optional<PictureParameters>, kMaxPictureId + 1> pictures_;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_PICTURE_PARAMETERS_H_
