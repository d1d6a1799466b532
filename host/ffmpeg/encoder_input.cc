#include "host/ffmpeg/encoder_input.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace kxrtc_host {
namespace {

// More than an encoder keeps at once.
constexpr int kCardPictures = 32;

bool Takes(const AVCodec& codec, AVPixelFormat wanted) {
  // Without a list the encoder asks its device.
  if (codec.pix_fmts == nullptr) return wanted == AV_PIX_FMT_YUV420P;
  for (const AVPixelFormat* format = codec.pix_fmts; *format != AV_PIX_FMT_NONE; ++format) {
    if (*format == wanted) return true;
  }
  return false;
}

}  // namespace

bool EncoderInput::Accepts(const AVCodec& codec) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_VAAPI}) {
    if (!Takes(codec, format)) continue;
    format_ = format;
    return true;
  }
  return false;
}

int EncoderInput::Prepare(AVCodecContext* context) {
  context->pix_fmt = format_;
  return format_ == AV_PIX_FMT_VAAPI ? PrepareCard(context) : 0;
}

int EncoderInput::PrepareCard(AVCodecContext* context) {
  AVBufferRef* card = nullptr;
  int result = av_hwdevice_ctx_create(&card, AV_HWDEVICE_TYPE_VAAPI, nullptr, nullptr, 0);
  if (result < 0) return result;
  card_pictures_.reset(av_hwframe_ctx_alloc(card));
  av_buffer_unref(&card);
  if (card_pictures_ == nullptr) return AVERROR(ENOMEM);
  auto* const pictures = reinterpret_cast<AVHWFramesContext*>(card_pictures_->data);
  pictures->format = AV_PIX_FMT_VAAPI;
  pictures->sw_format = AV_PIX_FMT_NV12;
  pictures->width = context->width;
  pictures->height = context->height;
  pictures->initial_pool_size = kCardPictures;
  result = av_hwframe_ctx_init(card_pictures_.get());
  if (result < 0) return result;
  context->hw_frames_ctx = av_buffer_ref(card_pictures_.get());
  return context->hw_frames_ctx != nullptr ? 0 : AVERROR(ENOMEM);
}

int EncoderInput::Take(const AVFrame& picture, const AVFrame** taken) {
  *taken = &picture;
  if (format_ == AV_PIX_FMT_YUV420P) return 0;
  int result = Convert(picture);
  *taken = converted_.get();
  if (result < 0 || format_ == AV_PIX_FMT_NV12) return result;
  result = Upload();
  *taken = uploaded_.get();
  return result;
}

int EncoderInput::Convert(const AVFrame& picture) {
  // The encoder may still use the last one.
  converted_.reset(av_frame_alloc());
  if (converted_ == nullptr) return AVERROR(ENOMEM);
  converted_->width = picture.width;
  converted_->height = picture.height;
  converted_->format = AV_PIX_FMT_NV12;
  const int result = av_frame_get_buffer(converted_.get(), 0);
  if (result < 0) return result;
  if (converter_ == nullptr) {
    converter_.reset(sws_getContext(picture.width, picture.height, AV_PIX_FMT_YUV420P,
                                    picture.width, picture.height, AV_PIX_FMT_NV12, SWS_POINT,
                                    nullptr, nullptr, nullptr));
  }
  if (converter_ == nullptr) return AVERROR(ENOMEM);
  if (sws_scale(converter_.get(), picture.data, picture.linesize, 0, picture.height,
                converted_->data, converted_->linesize) <= 0) {
    return AVERROR_EXTERNAL;
  }
  return av_frame_copy_props(converted_.get(), &picture);
}

int EncoderInput::Upload() {
  uploaded_.reset(av_frame_alloc());
  if (uploaded_ == nullptr) return AVERROR(ENOMEM);
  int result = av_hwframe_get_buffer(card_pictures_.get(), uploaded_.get(), 0);
  if (result >= 0) result = av_hwframe_transfer_data(uploaded_.get(), converted_.get(), 0);
  return result < 0 ? result : av_frame_copy_props(uploaded_.get(), converted_.get());
}

}  // namespace kxrtc_host
