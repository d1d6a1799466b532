// Brings pictures into the format and the memory that an encoder takes.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_ENCODER_INPUT_H_
#define HOST_FFMPEG_ENCODER_INPUT_H_

#include <cstdint>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

class EncoderInput {
 public:
  // True when the encoder takes a format that is made here.
  [[nodiscard]] bool Accepts(const AVCodec& codec);

  // Prepares `context`, which has its size and is not open, of an encoder that Accepts() agreed to:
  // its pixel format, and for an encoder that takes pictures from the memory of the graphics card
  // that card too. A negative result is FFmpeg's error number.
  [[nodiscard]] int Prepare(AVCodecContext* context);

  // What the encoder gets for `picture`, 4:2:0 in three planes: `*taken`, valid until the next
  // call. A negative result is FFmpeg's error number.
  [[nodiscard]] int Take(const AVFrame& picture, const AVFrame** taken);

 private:
  int PrepareCard(AVCodecContext* context);
  int Convert(const AVFrame& picture);
  int Upload();

  AVPixelFormat format_ = AV_PIX_FMT_NONE;
  BufferHandle card_pictures_;
  ScalerHandle converter_;
  FrameHandle converted_;
  FrameHandle uploaded_;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_ENCODER_INPUT_H_
