#include "host/ffmpeg/jpeg_picture.h"

#include <algorithm>
#include <utility>

namespace kxrtc_host {
namespace {

// More than a 5K screen has. Larger pictures would take more memory than all the rest of a report.
constexpr int64_t kMaxPixels = int64_t{4096} * 4096;

constexpr int kQuality = 4;  // Of 1, the best, to 31.

// JPEG files have the full range of brightness.
FrameHandle WithFullRange(const AVFrame& picture, int width, int height) {
  FrameHandle full(av_frame_alloc());
  if (full == nullptr) return nullptr;
  full->width = width;
  full->height = height;
  full->format = AV_PIX_FMT_YUVJ420P;
  full->color_range = AVCOL_RANGE_JPEG;
  full->quality = FF_QP2LAMBDA * kQuality;
  const ScalerHandle scaler(sws_getContext(width, height, AV_PIX_FMT_YUV420P, width, height,
                                           AV_PIX_FMT_YUVJ420P, SWS_BICUBIC, nullptr, nullptr,
                                           nullptr));
  if (scaler == nullptr || av_frame_get_buffer(full.get(), 0) < 0 ||
      sws_scale(scaler.get(), picture.data, picture.linesize, 0, height, full->data,
                full->linesize) <= 0) {
    return nullptr;
  }
  return full;
}

}  // namespace

FrameHandle DecodeKeyFrame(const uint8_t* data, uint32_t size, Deblocking deblocking) {
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_H264);
  const CodecContextHandle context(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  const PacketHandle packet(av_packet_alloc());
  FrameHandle picture(av_frame_alloc());
  if (context == nullptr || packet == nullptr || picture == nullptr) return nullptr;
  context->thread_count = 1;
  context->max_pixels = kMaxPixels;
  if (deblocking == Deblocking::kOff) context->skip_loop_filter = AVDISCARD_ALL;
  if (size == 0 || size > INT32_MAX - AV_INPUT_BUFFER_PADDING_SIZE ||
      avcodec_open2(context.get(), codec, nullptr) < 0 ||
      av_new_packet(packet.get(), static_cast<int>(size)) < 0) {
    return nullptr;
  }
  std::copy(data, data + size, packet->data);
  if (avcodec_send_packet(context.get(), packet.get()) < 0 ||
      avcodec_send_packet(context.get(), nullptr) < 0 ||
      avcodec_receive_frame(context.get(), picture.get()) < 0) {
    return nullptr;
  }
  const bool is_damaged =
      picture->decode_error_flags != 0 || (picture->flags & AV_FRAME_FLAG_CORRUPT) != 0;
  return is_damaged ? nullptr : std::move(picture);
}

double UprightRatio(const AVFrame& picture, int32_t rotation) {
  double ratio = static_cast<double>(picture.width) / picture.height;
  const AVRational aspect = picture.sample_aspect_ratio;
  if (aspect.num > 0 && aspect.den > 0) ratio *= av_q2d(aspect);
  return rotation == 90 || rotation == 270 ? 1 / ratio : ratio;
}

std::string EncodeJpeg(const AVFrame& picture, uint32_t width, uint32_t height) {
  const FrameHandle full =
      WithFullRange(picture, static_cast<int>(width), static_cast<int>(height));
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  const CodecContextHandle context(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  const PacketHandle packet(av_packet_alloc());
  if (full == nullptr || context == nullptr || packet == nullptr) return "";
  context->width = full->width;
  context->height = full->height;
  context->pix_fmt = AV_PIX_FMT_YUVJ420P;
  context->color_range = AVCOL_RANGE_JPEG;
  context->time_base = {1, 1};
  context->thread_count = 1;
  context->global_quality = full->quality;
  // Without the name of the program that made it.
  context->flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_BITEXACT;
  if (avcodec_open2(context.get(), codec, nullptr) < 0 ||
      avcodec_send_frame(context.get(), full.get()) < 0 ||
      avcodec_receive_packet(context.get(), packet.get()) < 0) {
    return "";
  }
  return {packet->data, packet->data + packet->size};
}

}  // namespace kxrtc_host
