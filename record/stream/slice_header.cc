#include "record/stream/slice_header.h"

#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/stream/element_reader.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;

// Values of slice_type, modulo 5.
enum SliceType : uint32_t { kP = 0, kB = 1, kI = 2, kSp = 3 };
constexpr uint32_t kMaxSliceType = 9;

// Values of memory_management_control_operation.
constexpr uint32_t kResetOperation = 5;
constexpr uint32_t kMaxOperation = 6;

// What the rest of a header depends on.
struct SliceContext {
  const SequenceParameters& sps;
  const PictureParameters& pps;
  uint32_t slice_type;
  std::array<uint32_t, 2> num_ref_idx_active;

  uint32_t lists() const { return slice_type == kB ? 2 : slice_type == kI ? 0 : 1; }
};

void ReadPicOrderCnt(const SliceContext& context, ElementReader* reader, SliceHeader* header) {
  const SequenceParameters& sps = context.sps;
  const bool has_bottom = context.pps.bottom_field_pic_order_in_frame_present && !header->is_field;
  if (sps.pic_order_cnt_type == 0) {
    header->pic_order_cnt_lsb = reader->U(sps.pic_order_cnt_lsb_bits);
    if (has_bottom) header->delta_pic_order_cnt[0] = reader->Se();
  } else if (sps.pic_order_cnt_type == 1 && !sps.delta_pic_order_always_zero) {
    header->delta_pic_order_cnt[0] = reader->Se();
    if (has_bottom) header->delta_pic_order_cnt[1] = reader->Se();
  }
}

// Clause 7.3.3.1.
void SkipRefPicListModification(const SliceContext& context, ElementReader* reader) {
  constexpr uint32_t kEnd = 3;
  for (uint32_t list = 0; list < context.lists(); ++list) {
    if (!reader->Flag()) continue;
    while (reader->ok() && reader->Ue(kEnd) != kEnd) reader->Ue();
  }
}

// Clause 7.3.3.2.
void SkipPredWeightTable(const SliceContext& context, ElementReader* reader) {
  const bool is_coded = context.slice_type == kB ? context.pps.weighted_bipred_idc == 1
                                                 : context.lists() > 0 && context.pps.weighted_pred;
  if (!is_coded) return;
  const uint32_t planes = context.sps.has_chroma ? 2 : 1;
  for (uint32_t plane = 0; plane < planes; ++plane) reader->Ue();
  for (uint32_t list = 0; list < context.lists(); ++list) {
    for (uint32_t i = 0; i < context.num_ref_idx_active[list] && reader->ok(); ++i) {
      for (uint32_t plane = 0; plane < planes; ++plane) {
        if (!reader->Flag()) continue;
        for (uint32_t weights = plane == 0 ? 2 : 4; weights > 0; --weights) reader->Se();
      }
    }
  }
}

// Clause 7.3.3.3. True for an operation that resets the order.
bool ReadRefPicMarking(bool is_idr, ElementReader* reader) {
  if (is_idr) {
    reader->Skip(2);
    return false;
  }
  bool resets = false;
  if (!reader->Flag()) return false;
  while (const uint32_t operation = reader->Ue(kMaxOperation)) {
    resets |= operation == kResetOperation;
    if (operation != kResetOperation) reader->Ue();
    if (operation == 3) reader->Ue();
  }
  return resets;
}

void ReadRest(SliceContext* context, ElementReader* reader, SliceHeader* header) {
  if (context->slice_type == kB) reader->Skip(1);  // direct_spatial_mv_pred_flag
  if (context->lists() > 0 && reader->Flag()) {
    for (uint32_t list = 0; list < context->lists(); ++list) {
      context->num_ref_idx_active[list] = reader->Ue(kMaxRefIdx - 1) + 1;
    }
  }
  SkipRefPicListModification(*context, reader);
  SkipPredWeightTable(*context, reader);
  if (header->is_reference) header->resets_order = ReadRefPicMarking(header->is_idr, reader);
}

void ReadHeader(const PictureParameterSets& sets, ElementReader* in, SliceHeader* out) {
  ElementReader& reader = *in;
  SliceHeader& header = *out;
  header.first_mb_in_slice = reader.Ue();
  const uint32_t slice_type = reader.Ue(kMaxSliceType) % 5;
  header.pps_id = reader.Ue(kMaxPictureId);
  const PictureParameters* pps = reader.ok() ? sets.Picture(header.pps_id) : nullptr;
  const SequenceParameters* sps = pps != nullptr ? sets.Sequence(*pps) : nullptr;
  if (sps == nullptr) return;
  // SI slices have no lists, as I slices.
  SliceContext context = {*sps, *pps, slice_type > kSp ? uint32_t{kI} : slice_type,
                          pps->num_ref_idx_active};
  if (sps->separate_colour_plane) reader.Skip(2);
  header.frame_num = reader.U(sps->frame_num_bits);
  if (!sps->frame_mbs_only) header.is_field = reader.Flag();
  if (header.is_field) header.is_bottom_field = reader.Flag();
  if (header.is_idr) header.idr_pic_id = reader.Ue();
  ReadPicOrderCnt(context, in, out);
  if (pps->redundant_pic_cnt_present) header.redundant_pic_cnt = reader.Ue();
  header.is_identified = reader.ok();
  ReadRest(&context, in, out);
  header.is_complete = reader.ok();
}

}  // namespace

SliceHeader ReadSliceHeader(const NalUnit& unit, const PictureParameterSets& sets) {
  ElementReader reader(unit, kMaxSliceHeaderBytes);
  SliceHeader header;
  header.is_idr = unit.type() == H264::kNaluTypeIdr;
  header.is_reference = H264::ParseNalRefIdc(unit.data[0]) != 0;
  ReadHeader(sets, &reader, &header);
  header.rbsp_bytes = reader.ReadBytes();
  return header;
}

bool BelongToOnePicture(const SliceHeader& a, const SliceHeader& b) {
  if (a.is_idr != b.is_idr || a.is_reference != b.is_reference) return false;
  if (!a.is_identified || !b.is_identified) return b.first_mb_in_slice != 0;
  return a.pps_id == b.pps_id && a.frame_num == b.frame_num && a.is_field == b.is_field &&
         a.is_bottom_field == b.is_bottom_field && a.idr_pic_id == b.idr_pic_id &&
         a.pic_order_cnt_lsb == b.pic_order_cnt_lsb &&
         a.delta_pic_order_cnt == b.delta_pic_order_cnt;
}

}  // namespace kxrtc_host
