#include "record/stream/picture_parameters.h"

#include <algorithm>
#include <iterator>

#include "record/stream/element_reader.h"

namespace kxrtc_host {
namespace {

constexpr uint32_t kMaxBitsMinus4 = 12;  // Of log2_max_frame_num and log2_max_pic_order_cnt_lsb.
constexpr uint32_t kMaxRefFramesInCycle = 255;
constexpr uint32_t kMaxParameterSetBytes = 64 * 1024;  // Longer ones are not read.
constexpr uint32_t kExtendedSar = 255;
constexpr uint32_t kMaxHrdCount = 32;
constexpr uint32_t kMaxSliceGroups = 8;

// Clause 7.3.2.1.1.1.
void SkipScalingList(uint32_t size, ElementReader* reader) {
  int32_t next = 8;
  for (uint32_t i = 0; i < size && next != 0 && reader->ok(); ++i) {
    next = (next + reader->Se() % 256 + 256) % 256;
  }
}

// Returns chroma_format_idc.
uint32_t ReadChroma(ElementReader* reader, SequenceParameters* sps) {
  const uint32_t chroma_format = reader->Ue(3);
  if (chroma_format == 3) sps->separate_colour_plane = reader->Flag();
  sps->has_chroma = chroma_format != 0 && !sps->separate_colour_plane;
  reader->Ue();  // bit_depth_luma_minus8
  reader->Ue();  // bit_depth_chroma_minus8
  reader->Skip(1);
  const uint32_t scaled = reader->Flag() ? 1 : 0;
  const uint32_t lists = scaled * (chroma_format == 3 ? 12 : 8);
  for (uint32_t i = 0; i < lists && reader->ok(); ++i) {
    if (reader->Flag()) SkipScalingList(i < 6 ? 16 : 64, reader);
  }
  return chroma_format;
}

// From pic_width_in_mbs_minus1 to the cropping.
void ReadSize(uint32_t chroma_format, ElementReader* reader, SequenceParameters* sps) {
  constexpr uint32_t kMacroblock = 16;
  const uint32_t columns = reader->Ue(kMaxMacroblocks - 1) + 1;
  const uint32_t rows = reader->Ue(kMaxMacroblocks - 1) + 1;
  sps->frame_mbs_only = reader->Flag();
  if (!sps->frame_mbs_only) reader->Skip(1);
  reader->Skip(1);  // direct_8x8_inference_flag
  const uint32_t fields = sps->frame_mbs_only ? 1 : 2;
  sps->size = {columns * kMacroblock, rows * fields * kMacroblock};
  if (!reader->Flag()) return;
  const bool is_subsampled = sps->has_chroma && chroma_format != 3;
  const uint32_t unit_x = is_subsampled ? 2 : 1;
  const uint32_t unit_y = (is_subsampled && chroma_format == 1 ? 2 : 1) * fields;
  uint32_t* const sides[] = {&sps->size.width, &sps->size.width, &sps->size.height,
                             &sps->size.height};
  for (size_t i = 0; i < 4; ++i) {
    const uint32_t crop = reader->Ue(kMaxMacroblocks * kMacroblock) * (i < 2 ? unit_x : unit_y);
    *sides[i] -= std::min(crop, *sides[i] - 1);
  }
}

void ReadPicOrderCnt(ElementReader* reader, SequenceParameters* sps) {
  sps->pic_order_cnt_type = reader->Ue(2);
  if (sps->pic_order_cnt_type == 0) sps->pic_order_cnt_lsb_bits = reader->Ue(kMaxBitsMinus4) + 4;
  if (sps->pic_order_cnt_type != 1) return;
  sps->delta_pic_order_always_zero = reader->Flag();
  sps->offset_for_non_ref_pic = reader->Se();
  sps->offset_for_top_to_bottom_field = reader->Se();
  const uint32_t count = reader->Ue(kMaxRefFramesInCycle);
  for (uint32_t i = 0; i < count; ++i) sps->offsets_for_ref_frame.push_back(reader->Se());
}

void SkipHrd(ElementReader* reader) {
  const uint32_t count = reader->Ue(kMaxHrdCount - 1) + 1;
  reader->Skip(8);
  for (uint32_t i = 0; i < count; ++i) {
    reader->Ue();
    reader->Ue();
    reader->Skip(1);
  }
  reader->Skip(20);
}

// Clause E.1.1 up to the bitstream restriction. Without one, sets nothing.
void ReadVui(ElementReader* reader, SequenceParameters* sps) {
  if (reader->Flag() && reader->U(8) == kExtendedSar) reader->Skip(32);
  if (reader->Flag()) reader->Skip(1);  // overscan
  if (reader->Flag()) {                 // video_signal_type
    reader->Skip(4);
    if (reader->Flag()) reader->Skip(24);
  }
  if (reader->Flag()) {  // chroma_loc_info
    reader->Ue();
    reader->Ue();
  }
  if (reader->Flag()) reader->Skip(65);  // timing_info
  const bool has_nal_hrd = reader->Flag();
  if (has_nal_hrd) SkipHrd(reader);
  const bool has_vcl_hrd = reader->Flag();
  if (has_vcl_hrd) SkipHrd(reader);
  if (has_nal_hrd || has_vcl_hrd) reader->Skip(1);
  reader->Skip(1);              // pic_struct_present_flag
  if (!reader->Flag()) return;  // bitstream_restriction_flag
  reader->Skip(1);
  for (int i = 0; i < 4; ++i) reader->Ue();
  const uint32_t frames = reader->Ue(kMaxReorderFrames);
  if (reader->ok()) sps->max_num_reorder_frames = frames;
}

// Profiles with the constraint that all pictures are intra pictures (E.2.1).
bool IsIntraProfile(const NalUnit& unit) {
  constexpr uint8_t kConstraintSet3 = 0x10;
  constexpr uint8_t kProfiles[] = {44, 86, 100, 110, 122, 244};
  return (unit.data[2] & kConstraintSet3) != 0 &&
         std::find(std::begin(kProfiles), std::end(kProfiles), unit.data[1]) != std::end(kProfiles);
}

// Clause 7.3.2.2, the part between num_slice_groups_minus1 and
// num_ref_idx_l0_default_active_minus1.
void SkipSliceGroups(uint32_t groups, ElementReader* reader) {
  const uint32_t type = reader->Ue(6);
  if (type == 0) {
    for (uint32_t i = 0; i < groups; ++i) reader->Ue();
  } else if (type == 2) {
    for (uint32_t i = 0; i + 1 < groups; ++i) {
      reader->Ue();
      reader->Ue();
    }
  } else if (type >= 3 && type <= 5) {
    reader->Skip(1);
    reader->Ue();
  } else if (type == 6) {
    const uint32_t bits = groups > 4 ? 3 : groups > 2 ? 2 : 1;
    const uint32_t units = reader->Ue();
    for (uint32_t i = 0; i <= units && reader->ok(); ++i) reader->Skip(bits);
  }
}

}  // namespace

bool TellsChromaFormat(uint8_t profile) {
  static constexpr uint8_t kProfiles[] = {100, 110, 122, 244, 44,  83, 86,
                                          118, 128, 138, 139, 134, 135};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

std::optional<SequenceParameters> ReadSequenceParameters(const NalUnit& unit) {
  constexpr uint32_t kFixedBytes = 3;  // Profile, constraints, level.
  if (unit.size <= 1 + kFixedBytes) return std::nullopt;
  ElementReader reader(unit, kMaxParameterSetBytes);
  SequenceParameters sps;
  reader.Skip(8 * kFixedBytes);
  sps.id = reader.Ue(kMaxSequenceId);
  const uint32_t chroma_format = TellsChromaFormat(unit.data[1]) ? ReadChroma(&reader, &sps) : 1;
  sps.frame_num_bits = reader.Ue(kMaxBitsMinus4) + 4;
  ReadPicOrderCnt(&reader, &sps);
  reader.Ue();     // max_num_ref_frames
  reader.Skip(1);  // gaps_in_frame_num_value_allowed_flag
  ReadSize(chroma_format, &reader, &sps);
  const bool has_vui = reader.Flag();
  if (!reader.ok()) return std::nullopt;
  const bool is_ordered = sps.pic_order_cnt_type == 2 || IsIntraProfile(unit);
  sps.max_num_reorder_frames = is_ordered ? 0 : kMaxReorderFrames;
  if (has_vui && !is_ordered) ReadVui(&reader, &sps);
  return sps;
}

std::optional<PictureParameters> ReadPictureParameters(const NalUnit& unit) {
  ElementReader reader(unit, kMaxParameterSetBytes);
  PictureParameters pps;
  pps.id = reader.Ue(kMaxPictureId);
  pps.sequence_id = reader.Ue(kMaxSequenceId);
  reader.Skip(1);  // entropy_coding_mode_flag
  pps.bottom_field_pic_order_in_frame_present = reader.Flag();
  const uint32_t groups = reader.Ue(kMaxSliceGroups - 1) + 1;
  if (groups > 1) SkipSliceGroups(groups, &reader);
  for (uint32_t& count : pps.num_ref_idx_active) count = reader.Ue(kMaxRefIdx - 1) + 1;
  pps.weighted_pred = reader.Flag();
  pps.weighted_bipred_idc = reader.U(2);
  for (int i = 0; i < 3; ++i) reader.Se();  // Quantisation.
  reader.Skip(2);
  pps.redundant_pic_cnt_present = reader.Flag();
  if (!reader.ok()) return std::nullopt;
  return pps;
}

void PictureParameterSets::Add(const NalUnit& unit) {
  if (unit.type() == kxrtc::H264::kNaluTypeSps) {
    if (auto sps = ReadSequenceParameters(unit)) sequences_[sps->id] = std::move(sps);
  } else if (unit.type() == kxrtc::H264::kNaluTypePps) {
    if (const auto pps = ReadPictureParameters(unit)) pictures_[pps->id] = pps;
  }
}

const PictureParameters* PictureParameterSets::Picture(uint32_t id) const {
  return id <= kMaxPictureId && pictures_[id] ? &*pictures_[id] : nullptr;
}

const SequenceParameters* PictureParameterSets::Sequence(const PictureParameters& picture) const {
  const auto& sequence = sequences_[picture.sequence_id];
  return sequence ? &*sequence : nullptr;
}

}  // namespace kxrtc_host
