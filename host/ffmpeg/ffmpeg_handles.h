// Owning handles for FFmpeg's objects.
#ifndef HOST_FFMPEG_FFMPEG_HANDLES_H_
#define HOST_FFMPEG_FFMPEG_HANDLES_H_

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kxrtc_host {

struct CodecContextFree {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameFree {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketFree {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct BufferFree {
  void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};
struct FormatContextFree {
  void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};
struct ScalerFree {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using CodecContextHandle = std::unique_ptr<AVCodecContext, CodecContextFree>;
using BufferHandle = std::unique_ptr<AVBufferRef, BufferFree>;
using FrameHandle = std::unique_ptr<AVFrame, FrameFree>;
using PacketHandle = std::unique_ptr<AVPacket, PacketFree>;
using FormatContextHandle = std::unique_ptr<AVFormatContext, FormatContextFree>;
using ScalerHandle = std::unique_ptr<SwsContext, ScalerFree>;

// FFmpeg's text for one of its error numbers.
inline std::string FFmpegErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

// Sets a copy of `bytes` as the extradata of `target`, an AVCodecContext or AVCodecParameters
// without extradata. False: out of memory.
template <typename Target>
[[nodiscard]] bool CopyExtradata(const std::vector<uint8_t>& bytes, Target* target) {
  target->extradata =
      static_cast<uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (target->extradata == nullptr) return false;
  std::copy(bytes.begin(), bytes.end(), target->extradata);
  target->extradata_size = static_cast<int>(bytes.size());
  return true;
}

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_HANDLES_H_
