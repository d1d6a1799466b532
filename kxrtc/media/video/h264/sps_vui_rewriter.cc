#include "kxrtc/media/video/h264/sps_vui_rewriter.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "kx_utility/failure_log.h"
#include "kxrtc/media/video/h264/nal_unit.h"

// Logs the failing expression and leaves the function: the messages quote the source text.
#define KX_TRY(expression)                                                                     \
  do {                                                                                         \
    if (!(expression)) {                                                                       \
      const kx_utility::CallSite site = kx_utility::Here();                                    \
      kx_utility::LogFormatted(kx_utility::LS_ERROR, site, " (line:%d) FAILED: %s", site.line, \
                               #expression);                                                   \
      return false;                                                                            \
    }                                                                                          \
  } while (false)

#define KX_COPY_BITS(bits, count)                                              \
  do {                                                                         \
    KX_TRY((source)->ReadBits(&bits, count));                                  \
    if (destination != nullptr) KX_TRY((destination)->WriteBits(bits, count)); \
  } while (false)

#define KX_COPY_GOLOMB(code)                                                         \
  do {                                                                               \
    KX_TRY((source)->ReadExponentialGolomb(&code));                                  \
    if (destination != nullptr) KX_TRY((destination)->WriteExponentialGolomb(code)); \
  } while (false)

namespace kxrtc {

using kx_utility::BitBuffer;
using kx_utility::BitBufferWriter;
using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::RawBuffer;

namespace {

// The most that the rewriting adds to an SPS, in bytes.
constexpr uint32_t kMaxVuiGrowth = 64;

}  // namespace

SpsVuiRewriter::ParseResult SpsVuiRewriter::ParseAndRewriteSps(const uint8_t* buffer,
                                                               uint32_t length,
                                                               SpsParser::SpsState* sps,
                                                               bool& sps_parsed,
                                                               RawBuffer* destination) {
  sps_parsed = false;
  const std::vector<uint8_t> rbsp = H264::ParseRbsp(buffer, length);
  BitBuffer source(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  SpsParser::SpsState state;
  if (!SpsParser::ParseSpsUpToVui(&source, state)) {
    (void)FailedIn("SpsParser::ParseSpsUpToVui");
    return ParseResult::kFailure;
  }
  *sps = state;
  sps_parsed = true;
  if (state.pic_order_cnt_type > 1) return ParseResult::kPocTypeOk;

  const uint32_t room =
      std::min(length, std::numeric_limits<uint32_t>::max() - kMaxVuiGrowth) + kMaxVuiGrowth;
  RawBuffer out;
  out.EnsureCapacityWithHeadroom(room, false);
  BitBufferWriter writer(out.data(), room);

  uint32_t byte_offset = 0;
  uint32_t bit_offset = 0;
  source.GetCurrentOffset(&byte_offset, &bit_offset);
  std::copy_n(rbsp.data(), byte_offset + (bit_offset != 0 ? 1 : 0), out.data());
  // The writing begins one bit earlier, on vui_parameters_present_flag.
  const bool sought =
      bit_offset == 0 ? writer.Seek(byte_offset - 1, 7) : writer.Seek(byte_offset, bit_offset - 1);
  ParseResult result = ParseResult::kFailure;
  if (!sought || !CopyAndRewriteVui(state, &source, &writer, &result)) {
    (void)Failed("Failed to parse/copy SPS VUI.");
    return ParseResult::kFailure;
  }
  if (result == ParseResult::kVuiOk) return result;
  if (!CopyRemainingBits(&source, &writer)) {
    (void)Failed("Failed to parse/copy SPS VUI.");
    return ParseResult::kFailure;
  }

  writer.GetCurrentOffset(&byte_offset, &bit_offset);
  if (bit_offset != 0) {
    (void)writer.WriteBits(0, 8 - bit_offset);  // The byte was begun, so there is room.
    ++byte_offset;
  }
  // Intended: these two are diagnostics, and the function goes on.
  if (byte_offset > room) (void)Failed("byte_offset is too big");
  if (destination == nullptr) (void)Failed("destination is nullptr");

  out.EnsureCapacityWithHeadroom(byte_offset, true);
  out.set_size(byte_offset);
  if (destination != nullptr) H264::WriteRbsp(out.data(), out.size(), destination);
  return ParseResult::kVuiRewritten;
}

bool CopyAndRewriteVui(const SpsParser::SpsState& sps, BitBuffer* source,
                       BitBufferWriter* destination,
                       SpsVuiRewriter::ParseResult* out_vui_rewritten) {
  uint32_t bits_tmp = 0;
  uint32_t golomb_tmp = 0;

  KX_TRY(destination->WriteBits(1, 1));  // vui_parameters_present_flag
  if (sps.vui_params_present == 0) {
    KX_TRY(destination->WriteBits(0, 8));  // The flags up to pic_struct_present_flag.
    KX_TRY(destination->WriteBits(1, 1));  // bitstream_restriction_flag
    KX_TRY(AddBitstreamRestriction(destination, sps.max_num_ref_frames));
    *out_vui_rewritten = SpsVuiRewriter::ParseResult::kVuiRewritten;
    return true;
  }

  KX_COPY_BITS(bits_tmp, 1);  // aspect_ratio_info_present_flag
  if (bits_tmp == 1) {
    constexpr uint32_t kExtendedSar = 255;
    KX_COPY_BITS(bits_tmp, 8);                                 // aspect_ratio_idc
    if (bits_tmp == kExtendedSar) KX_COPY_BITS(bits_tmp, 32);  // sar_width, sar_height
  }
  KX_COPY_BITS(bits_tmp, 1);                     // overscan_info_present_flag
  if (bits_tmp == 1) KX_COPY_BITS(bits_tmp, 1);  // overscan_appropriate_flag
  KX_COPY_BITS(bits_tmp, 1);                     // video_signal_type_present_flag
  if (bits_tmp == 1) {
    KX_COPY_BITS(bits_tmp, 4);                      // video_format, video_full_range_flag
    KX_COPY_BITS(bits_tmp, 1);                      // colour_description_present_flag
    if (bits_tmp == 1) KX_COPY_BITS(bits_tmp, 24);  // Primaries, transfer, matrix.
  }
  KX_COPY_BITS(bits_tmp, 1);  // chroma_loc_info_present_flag
  if (bits_tmp == 1) {
    KX_COPY_GOLOMB(golomb_tmp);  // chroma_sample_loc_type_top_field
    KX_COPY_GOLOMB(golomb_tmp);  // chroma_sample_loc_type_bottom_field
  }
  KX_COPY_BITS(bits_tmp, 1);  // timing_info_present_flag
  if (bits_tmp == 1) {
    KX_COPY_BITS(bits_tmp, 32);  // num_units_in_tick
    KX_COPY_BITS(bits_tmp, 32);  // time_scale
    KX_COPY_BITS(bits_tmp, 1);   // fixed_frame_rate_flag
  }

  uint32_t nal_hrd_parameters_present_flag = 0;
  KX_COPY_BITS(nal_hrd_parameters_present_flag, 1);
  if (nal_hrd_parameters_present_flag == 1) KX_TRY(CopyHrdParameters(source, destination));
  uint32_t vcl_hrd_parameters_present_flag = 0;
  KX_COPY_BITS(vcl_hrd_parameters_present_flag, 1);
  if (vcl_hrd_parameters_present_flag == 1) KX_TRY(CopyHrdParameters(source, destination));
  if (nal_hrd_parameters_present_flag == 1 || vcl_hrd_parameters_present_flag == 1) {
    KX_COPY_BITS(bits_tmp, 1);  // low_delay_hrd_flag
  }
  KX_COPY_BITS(bits_tmp, 1);  // pic_struct_present_flag

  uint32_t bitstream_restriction_flag = 0;
  KX_TRY(source->ReadBits(&bitstream_restriction_flag, 1));
  KX_TRY(destination->WriteBits(1, 1));
  if (bitstream_restriction_flag == 0) {
    KX_TRY(AddBitstreamRestriction(destination, sps.max_num_ref_frames));
    *out_vui_rewritten = SpsVuiRewriter::ParseResult::kVuiRewritten;
    return true;
  }
  KX_COPY_BITS(bits_tmp, 1);   // motion_vectors_over_pic_boundaries_flag
  KX_COPY_GOLOMB(golomb_tmp);  // max_bytes_per_pic_denom
  KX_COPY_GOLOMB(golomb_tmp);  // max_bits_per_mb_denom
  KX_COPY_GOLOMB(golomb_tmp);  // log2_max_mv_length_horizontal
  KX_COPY_GOLOMB(golomb_tmp);  // log2_max_mv_length_vertical
  uint32_t max_num_reorder_frames = 0;
  uint32_t max_dec_frame_buffering = 0;
  KX_TRY(source->ReadExponentialGolomb(&max_num_reorder_frames));
  KX_TRY(source->ReadExponentialGolomb(&max_dec_frame_buffering));
  if (max_num_reorder_frames == 0 && max_dec_frame_buffering <= sps.max_num_ref_frames) {
    *out_vui_rewritten = SpsVuiRewriter::ParseResult::kVuiOk;
    return true;
  }
  KX_TRY(destination->WriteExponentialGolomb(0));
  KX_TRY(destination->WriteExponentialGolomb(sps.max_num_ref_frames));
  *out_vui_rewritten = SpsVuiRewriter::ParseResult::kVuiRewritten;
  return true;
}

bool CopyHrdParameters(BitBuffer* source, BitBufferWriter* destination) {
  uint32_t bits_tmp = 0;
  uint32_t golomb_tmp = 0;
  uint32_t cbp_cnt_minus1 = 0;  // sic: the name is quoted in messages.
  KX_COPY_GOLOMB(cbp_cnt_minus1);
  KX_COPY_BITS(bits_tmp, 8);  // bit_rate_scale, cpb_size_scale
  // Intended: the count may exceed 32; the data ends the loop.
  for (uint32_t i = 0; i <= cbp_cnt_minus1; ++i) {
    KX_COPY_GOLOMB(golomb_tmp);  // bit_rate_value_minus1
    KX_COPY_GOLOMB(golomb_tmp);  // cpb_size_value_minus1
    KX_COPY_BITS(bits_tmp, 1);   // cbr_flag
  }
  KX_COPY_BITS(bits_tmp, 5);  // initial_cpb_removal_delay_length_minus1
  KX_COPY_BITS(bits_tmp, 5);  // cpb_removal_delay_length_minus1
  KX_COPY_BITS(bits_tmp, 5);  // dpb_output_delay_length_minus1
  KX_COPY_BITS(bits_tmp, 5);  // time_offset_length
  return true;
}

bool AddBitstreamRestriction(BitBufferWriter* destination, uint32_t max_num_ref_frames) {
  KX_TRY(destination->WriteBits(1, 1));             // motion_vectors_over_pic_boundaries_flag
  KX_TRY(destination->WriteExponentialGolomb(2));   // max_bytes_per_pic_denom
  KX_TRY(destination->WriteExponentialGolomb(1));   // max_bits_per_mb_denom
  KX_TRY(destination->WriteExponentialGolomb(16));  // log2_max_mv_length_horizontal
  KX_TRY(destination->WriteExponentialGolomb(16));  // log2_max_mv_length_vertical
  KX_TRY(destination->WriteExponentialGolomb(0));   // max_num_reorder_frames
  KX_TRY(destination->WriteExponentialGolomb(max_num_ref_frames));  // max_dec_frame_buffering
  return true;
}

bool CopyRemainingBits(BitBuffer* source, BitBufferWriter* destination) {
  uint32_t bits_tmp = 0;
  const auto misaligned_bits = static_cast<uint32_t>(source->RemainingBitCount() % 8);
  if (misaligned_bits != 0) KX_COPY_BITS(bits_tmp, misaligned_bits);
  if (source->RemainingBitCount() == 0) return true;
  while (source->RemainingBitCount() > 32) {
    const uint32_t count = 32;
    KX_COPY_BITS(bits_tmp, count);
  }
  // Intended: the count of the write is taken after the read and is 0, so the chunk is dropped.
  KX_COPY_BITS(bits_tmp, source->RemainingBitCount());
  return true;
}

}  // namespace kxrtc

#undef KX_TRY
#undef KX_COPY_BITS
#undef KX_COPY_GOLOMB
