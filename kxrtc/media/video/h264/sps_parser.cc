#include "kxrtc/media/video/h264/sps_parser.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "kx_utility/failure_log.h"
#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc {
namespace {

using kx_utility::BitBuffer;

enum class ReadResult { kOk, kOutOfData, kUnsupported };

// What is needed during the parse and not kept.
struct Scratch {
  uint8_t profile_idc = 0;
  uint32_t chroma_format_idc = 1;  // Of profiles that do not code it.
  uint32_t pic_width_in_mbs_minus1 = 0;
  uint32_t pic_height_in_map_units_minus1 = 0;
  uint32_t crop_left = 0;
  uint32_t crop_right = 0;
  uint32_t crop_top = 0;
  uint32_t crop_bottom = 0;
};

bool HasChromaFields(uint8_t profile_idc) {
  // Intended: 135 is not among them.
  constexpr uint8_t kProfiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 134, 138, 139};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile_idc) != std::end(kProfiles);
}

ReadResult ReadChromaFields(BitBuffer* buffer, SpsParser::SpsState* sps, Scratch* scratch) {
  uint32_t bit_depth_minus8 = 0;
  uint32_t scaling_matrix_present = 0;
  if (!(buffer->ReadExponentialGolomb(&scratch->chroma_format_idc) &&
        (scratch->chroma_format_idc != 3 ||
         buffer->ReadBits(&sps->separate_colour_plane_flag, 1)) &&
        buffer->ReadExponentialGolomb(&bit_depth_minus8) &&  // luma
        buffer->ReadExponentialGolomb(&bit_depth_minus8) &&  // chroma
        buffer->ConsumeBits(1) &&                            // qpprime_y_zero_transform_bypass_flag
        buffer->ReadBits(&scaling_matrix_present, 1))) {
    return ReadResult::kOutOfData;
  }
  if (scaling_matrix_present != 0) {
    uint32_t list_present_flags = 0;
    if (!buffer->ReadBits(&list_present_flags, scratch->chroma_format_idc == 3 ? 12 : 8)) {
      return ReadResult::kOutOfData;
    }
    if (list_present_flags != 0) return ReadResult::kUnsupported;
  }
  return ReadResult::kOk;
}

bool ReadPicOrderCntFields(BitBuffer* buffer, SpsParser::SpsState* sps) {
  if (!buffer->ReadExponentialGolomb(&sps->pic_order_cnt_type)) return false;
  if (sps->pic_order_cnt_type == 0) {
    return buffer->ReadExponentialGolomb(&sps->log2_max_pic_order_cnt_lsb_minus4);
  }
  if (sps->pic_order_cnt_type != 1) return true;
  // Intended: the signed offsets are read as unsigned codes; their values are of no use here.
  uint32_t offset = 0;
  uint32_t cycle_length = 0;
  if (!(buffer->ReadBits(&sps->delta_pic_order_always_zero_flag, 1) &&
        buffer->ReadExponentialGolomb(&offset) &&  // offset_for_non_ref_pic
        buffer->ReadExponentialGolomb(&offset) &&  // offset_for_top_to_bottom_field
        buffer->ReadExponentialGolomb(&cycle_length))) {
    return false;
  }
  for (uint32_t i = 0; i < cycle_length; ++i) {
    if (!buffer->ReadExponentialGolomb(&offset)) return false;  // offset_for_ref_frame
  }
  return true;
}

bool ReadPictureFields(BitBuffer* buffer, SpsParser::SpsState* sps, Scratch* scratch) {
  uint32_t cropping = 0;
  return buffer->ReadExponentialGolomb(&sps->max_num_ref_frames) &&
         buffer->ConsumeBits(1) &&  // gaps_in_frame_num_value_allowed_flag
         buffer->ReadExponentialGolomb(&scratch->pic_width_in_mbs_minus1) &&
         buffer->ReadExponentialGolomb(&scratch->pic_height_in_map_units_minus1) &&
         buffer->ReadBits(&sps->frame_mbs_only_flag, 1) &&
         (sps->frame_mbs_only_flag != 0 ||
          buffer->ConsumeBits(1)) &&  // mb_adaptive_frame_field_flag
         buffer->ConsumeBits(1) &&    // direct_8x8_inference_flag
         buffer->ReadBits(&cropping, 1) &&
         (cropping == 0 || (buffer->ReadExponentialGolomb(&scratch->crop_left) &&
                            buffer->ReadExponentialGolomb(&scratch->crop_right) &&
                            buffer->ReadExponentialGolomb(&scratch->crop_top) &&
                            buffer->ReadExponentialGolomb(&scratch->crop_bottom))) &&
         buffer->ReadBits(&sps->vui_params_present, 1);
}

ReadResult ReadSps(BitBuffer* buffer, SpsParser::SpsState* sps, Scratch* scratch) {
  if (!(buffer->ReadUInt8(&scratch->profile_idc) &&
        buffer->ConsumeBytes(1) &&  // constraint_set flags
        buffer->ConsumeBytes(1) &&  // level_idc
        buffer->ReadExponentialGolomb(&sps->id))) {
    return ReadResult::kOutOfData;
  }
  sps->separate_colour_plane_flag = 0;
  if (HasChromaFields(scratch->profile_idc)) {
    const ReadResult result = ReadChromaFields(buffer, sps, scratch);
    if (result != ReadResult::kOk) return result;
  }
  if (!(buffer->ReadExponentialGolomb(&sps->log2_max_frame_num_minus4) &&
        ReadPicOrderCntFields(buffer, sps) && ReadPictureFields(buffer, sps, scratch))) {
    return ReadResult::kOutOfData;
  }
  return ReadResult::kOk;
}

void ComputeSize(Scratch scratch, SpsParser::SpsState* sps) {
  const uint32_t fields = 2 - sps->frame_mbs_only_flag;
  // Intended: `fields` scales the crop only without chroma subsampling of its own.
  if (sps->separate_colour_plane_flag == 1 || scratch.chroma_format_idc == 0) {
    scratch.crop_top *= fields;
    scratch.crop_bottom *= fields;
  } else if (scratch.chroma_format_idc == 1 || scratch.chroma_format_idc == 2) {
    scratch.crop_left *= 2;
    scratch.crop_right *= 2;
    if (scratch.chroma_format_idc == 1) {
      scratch.crop_top *= 2;
      scratch.crop_bottom *= 2;
    }
  }
  sps->width = 16 * (scratch.pic_width_in_mbs_minus1 + 1) - scratch.crop_left - scratch.crop_right;
  sps->height = 16 * fields * (scratch.pic_height_in_map_units_minus1 + 1) - scratch.crop_top -
                scratch.crop_bottom;
}

}  // namespace

bool SpsParser::ParseSps(const uint8_t* data, uint32_t length, SpsState& sps) {
  const std::vector<uint8_t> rbsp = H264::ParseRbsp(data, length);
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  return ParseSpsUpToVui(&buffer, sps);
}

bool SpsParser::ParseSpsUpToVui(BitBuffer* buffer, SpsState& sps) {
  Scratch scratch;
  switch (ReadSps(buffer, &sps, &scratch)) {
    case ReadResult::kOutOfData:
      return kx_utility::Failed("failed to parse SPS");
    case ReadResult::kUnsupported:
      kx_utility::LogFormatted(kx_utility::LS_WARNING, kx_utility::Here(),
                               "SPS contains scaling lists, which are unsupported.");
      return false;
    case ReadResult::kOk:
      break;
  }
  ComputeSize(scratch, &sps);
  return true;
}

}  // namespace kxrtc
