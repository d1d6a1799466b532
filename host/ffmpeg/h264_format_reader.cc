#include "host/ffmpeg/h264_format_reader.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {
namespace {

struct ParserClose {
  void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
};

constexpr int kProfileIdcMask = 0xFF;  // FFmpeg adds flags above it.

}  // namespace

std::optional<VideoFormat> H264FormatReader::Examine(const uint8_t* data, uint32_t size) {
  if (size > std::numeric_limits<int>::max() - AV_INPUT_BUFFER_PADDING_SIZE) return std::nullopt;
  const std::unique_ptr<AVCodecParserContext, ParserClose> parser(av_parser_init(AV_CODEC_ID_H264));
  const CodecContextHandle codec(avcodec_alloc_context3(nullptr));
  if (parser == nullptr || codec == nullptr) return std::nullopt;
  parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  std::vector<uint8_t> padded(size + AV_INPUT_BUFFER_PADDING_SIZE);
  std::copy(data, data + size, padded.begin());
  uint8_t* out = nullptr;
  int out_size = 0;
  (void)av_parser_parse2(parser.get(), codec.get(), &out, &out_size, padded.data(),
                         static_cast<int>(size), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
  // It stores them when it comes to a slice whose parameter sets are valid.
  if (parser->width <= 0 || parser->height <= 0 || codec->profile < 0) return std::nullopt;
  VideoFormat format;
  format.profile_idc = static_cast<uint32_t>(codec->profile & kProfileIdcMask);
  format.level_idc = static_cast<uint32_t>(std::max(codec->level, 0));
  format.width = static_cast<uint32_t>(parser->width);
  format.height = static_cast<uint32_t>(parser->height);
  return format;
}

}  // namespace kxrtc_host
