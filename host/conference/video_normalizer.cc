#include "host/conference/video_normalizer.h"

extern "C" {
#include <libavutil/display.h>
}

#include <cmath>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/media/video/h264/sps_parser.h"

namespace kxrtc_host {
namespace {

constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
constexpr int kMaxFrameSize = 64 << 20;

// An avcC record begins with its version, Annex B with a zero byte.
bool IsLengthPrefixed(const AVCodecParameters& parameters) {
  return parameters.extradata_size > 0 && parameters.extradata[0] == 1;
}

}  // namespace

uint32_t RotationOfDisplayMatrix(const int32_t* matrix) {
  if (matrix == nullptr) return 0;
  const double counterclockwise = av_display_rotation_get(matrix);
  if (std::isnan(counterclockwise)) return 0;
  const long degrees = std::lround(-counterclockwise) % 360;
  return static_cast<uint32_t>(degrees < 0 ? degrees + 360 : degrees);
}

bool VideoNormalizer::Open(const AVStream& stream, std::string* error) {
  const AVCodecParameters& parameters = *stream.codecpar;
  to_annex_b_.reset();
  parameter_sets_.Clear();
  width_ = static_cast<uint32_t>(parameters.width);
  height_ = static_cast<uint32_t>(parameters.height);
  size_t matrix_size = 0;
  const uint8_t* const matrix =
      av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &matrix_size);
  rotation_ = RotationOfDisplayMatrix(
      matrix_size >= 9 * sizeof(int32_t) ? reinterpret_cast<const int32_t*>(matrix) : nullptr);
  if (!IsLengthPrefixed(parameters)) {
    if (parameters.extradata_size > 0) {
      LearnParameterSets(parameters.extradata, static_cast<uint32_t>(parameters.extradata_size));
    }
    return true;
  }
  AVBSFContext* filter = nullptr;
  const AVBitStreamFilter* const kind = av_bsf_get_by_name("h264_mp4toannexb");
  int result = kind == nullptr ? AVERROR_BSF_NOT_FOUND : av_bsf_alloc(kind, &filter);
  to_annex_b_.reset(filter);
  if (result >= 0) result = avcodec_parameters_copy(filter->par_in, &parameters);
  if (result >= 0) {
    filter->time_base_in = AVRational{1, AV_TIME_BASE};
    result = av_bsf_init(filter);
  }
  if (result < 0) {
    *error = "the video cannot be converted: " + FFmpegErrorText(result);
    return false;
  }
  LearnParameterSets(filter->par_out->extradata,
                     static_cast<uint32_t>(filter->par_out->extradata_size));
  return true;
}

void VideoNormalizer::LearnSize(const NalUnit& sps) {
  kxrtc::SpsParser::SpsState state = {};
  if (sps.size < 2 || !kxrtc::SpsParser::ParseSps(sps.data + 1, sps.size - 1, state)) return;
  if (state.width == 0 || state.height == 0) return;
  width_ = state.width;
  height_ = state.height;
}

void VideoNormalizer::LearnParameterSets(const uint8_t* data, uint32_t size) {
  SplitAccessUnit(data, size, &units_);
  for (const NalUnit& unit : units_) {
    parameter_sets_.Add(unit);
    if (unit.type() == kxrtc::H264::kNaluTypeSps) LearnSize(unit);
  }
}

bool VideoNormalizer::AppendFrame(const AVPacket& packet, std::vector<VideoFrame>* frames) {
  if (packet.size <= 0 || packet.size > kMaxFrameSize) return false;
  const auto size = static_cast<uint32_t>(packet.size);
  LearnParameterSets(packet.data, size);
  if (units_.empty()) return false;
  VideoFrame frame;
  frame.time_us = packet.dts;
  frame.key_frame = kxrtc::H264::IsKeyFrame(packet.data, size);
  frame.width = width_;
  frame.height = height_;
  frame.rotation = rotation_;
  bool has_sps = false;
  for (const NalUnit& unit : units_) has_sps = has_sps || unit.type() == kxrtc::H264::kNaluTypeSps;
  if (frame.key_frame && !has_sps) {
    for (const NalUnit& unit : parameter_sets_.Units()) {
      frame.data.insert(frame.data.end(), kStartCode, kStartCode + sizeof(kStartCode));
      frame.data.insert(frame.data.end(), unit.data, unit.data + unit.size);
    }
    frame.key_frame = parameter_sets_.IsComplete();
  }
  frame.data.insert(frame.data.end(), packet.data, packet.data + size);
  frames->push_back(std::move(frame));
  return true;
}

bool VideoNormalizer::Process(AVPacket* packet, std::vector<VideoFrame>* frames) {
  if (to_annex_b_ == nullptr) return AppendFrame(*packet, frames);
  if (av_bsf_send_packet(to_annex_b_.get(), packet) < 0) return false;
  bool whole = true;
  for (;;) {
    const int received = av_bsf_receive_packet(to_annex_b_.get(), packet);
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return whole;
    if (received < 0) return false;
    whole = AppendFrame(*packet, frames) && whole;
  }
}

}  // namespace kxrtc_host
