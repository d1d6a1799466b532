// The input is an H.264 byte stream. Its slice headers have values that H.264 allows, and neither a
// header nor the display order of a picture depends on what follows the header.
#include <cstdint>
#include <optional>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/stream/access_unit_tracker.h"
#include "record/stream/annex_b.h"
#include "record/stream/picture_order.h"
#include "record/stream/slice_header.h"

namespace {

using kx_fuzz::Check;
using kxrtc_host::NalUnit;
using kxrtc_host::SliceHeader;

void CheckSlice(const NalUnit& unit, const kxrtc_host::PictureParameterSets& sets) {
  const SliceHeader header = ReadSliceHeader(unit, sets);
  Check(header.is_identified || !header.is_complete, "a whole header identifies its picture");
  Check(!header.resets_order || header.is_reference, "only a reference resets the order");
  if (!header.is_identified) return;
  Check(header.pps_id <= kxrtc_host::kMaxPictureId,
        "the id of a picture parameter set is in range");
  const auto* pps = sets.Picture(header.pps_id);
  const auto* sps = pps == nullptr ? nullptr : sets.Sequence(*pps);
  Check(sps != nullptr, "an identified slice has its parameter sets");
  Check(header.frame_num >> sps->frame_num_bits == 0, "frame_num has its bits");
  Check(header.pic_order_cnt_lsb >> sps->pic_order_cnt_lsb_bits == 0, "the order has its bits");
  Check(header.is_field || !header.is_bottom_field, "only a field is a bottom field");
  Check(!header.is_field || !sps->frame_mbs_only, "a stream of frames has no field");
  Check(BelongToOnePicture(header, header), "a slice belongs to its own picture");
  if (!header.is_complete) return;
  std::vector<uint8_t> longer(unit.data, unit.data + unit.size);
  longer.insert(longer.end(), {0x80, 0xFF, 0x5A});
  const SliceHeader again = ReadSliceHeader({longer.data(), unit.size + 3}, sets);
  Check(again.is_complete && again.resets_order == header.resets_order &&
            BelongToOnePicture(header, again),
        "what follows a header changes nothing");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<NalUnit> units;
  kxrtc_host::SplitAccessUnit(data, static_cast<uint32_t>(size), &units);
  kxrtc_host::AccessUnitTracker tracker;
  kxrtc_host::PictureParameterSets sets;
  kxrtc_host::PictureOrderReader reader;
  std::vector<NalUnit> access_unit;
  const auto end_access_unit = [&] {
    const std::optional<kxrtc_host::PictureOrder> order = reader.Read(access_unit);
    // A field may be a sample of its own, and counts as half a frame.
    Check(!order || order->max_waiting <= 2 * kxrtc_host::kMaxReorderFrames + 1,
          "no more pictures wait than H.264 allows");
    access_unit.clear();
  };
  for (const NalUnit& unit : units) {
    const bool begins = tracker.BeginsAccessUnit(unit.data, unit.size);
    Check(begins || !access_unit.empty(), "the first NAL unit begins an access unit");
    if (begins && !access_unit.empty()) end_access_unit();
    access_unit.push_back(unit);
    sets.Add(unit);
    if (kxrtc::H264::HasSliceHeader(unit.type())) CheckSlice(unit, sets);
  }
  if (!access_unit.empty()) end_access_unit();
  return 0;
}
