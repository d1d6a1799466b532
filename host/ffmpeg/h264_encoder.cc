#include "host/ffmpeg/h264_encoder.h"

extern "C" {
#include <libavutil/dict.h>
}

#include <algorithm>

namespace kxrtc_host {
namespace {

constexpr int kSecondsBetweenKeyFrames = 4;

bool TakesPlanarPictures(const AVCodec& codec) {
  for (const AVPixelFormat* format = codec.pix_fmts; format != nullptr && *format != -1; ++format) {
    if (*format == AV_PIX_FMT_YUV420P) return true;
  }
  return false;
}

CodecContextHandle MakeContext(const AVCodec* codec, const EncoderSettings& settings) {
  CodecContextHandle context(avcodec_alloc_context3(codec));
  if (context == nullptr) return context;
  context->width = static_cast<int>(settings.width);
  context->height = static_cast<int>(settings.height);
  context->pix_fmt = AV_PIX_FMT_YUV420P;
  context->color_range = AVCOL_RANGE_MPEG;
  context->time_base = {1, static_cast<int>(settings.frame_rate)};
  context->framerate = {static_cast<int>(settings.frame_rate), 1};
  context->sample_aspect_ratio = {1, 1};
  context->gop_size = static_cast<int>(settings.frame_rate) * kSecondsBetweenKeyFrames;
  if (settings.quality == 0) {
    context->bit_rate = int64_t{settings.bit_rate_kbps} * 1000;
    context->rc_max_rate = context->bit_rate * 2;
    context->rc_buffer_size = static_cast<int>(std::min<int64_t>(context->bit_rate * 4, INT32_MAX));
  }
  context->thread_count = settings.threads;
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return context;
}

}  // namespace

bool H264Encoder::Open(const std::vector<std::string>& names, const EncoderSettings& settings,
                       std::vector<std::string>* obstacles) {
  for (const std::string& name : names) {
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    if (codec == nullptr || codec->id != AV_CODEC_ID_H264) {
      obstacles->push_back("this FFmpeg has no H.264 encoder " + name);
      continue;
    }
    if (!TakesPlanarPictures(*codec)) {
      obstacles->push_back(name + " does not accept pictures from memory");
      continue;
    }
    context_ = MakeContext(codec, settings);
    AVDictionary* options = nullptr;
    if (name == "libx264") av_dict_set(&options, "preset", settings.preset.c_str(), 0);
    if (settings.quality != 0) av_dict_set_int(&options, "crf", settings.quality, 0);
    const int result =
        context_ != nullptr ? avcodec_open2(context_.get(), codec, &options) : AVERROR(ENOMEM);
    av_dict_free(&options);
    if (result >= 0 && context_->extradata_size > 0) return true;
    obstacles->push_back(name + " does not start: " +
                         (result < 0 ? FFmpegErrorText(result) : "it has no parameter sets"));
    context_.reset();
  }
  return false;
}

int H264Encoder::Send(const AVFrame* picture) {
  return avcodec_send_frame(context_.get(), picture);
}

bool H264Encoder::Receive(AVPacket* packet) {
  return avcodec_receive_packet(context_.get(), packet) >= 0;
}

}  // namespace kxrtc_host
