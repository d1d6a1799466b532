// The H.264 encoders of FFmpeg.
#ifndef HOST_FFMPEG_FFMPEG_ENCODER_H_
#define HOST_FFMPEG_FFMPEG_ENCODER_H_

#include "host/ffmpeg/h264_encoder.h"

namespace kxrtc_host {

// Opens encoders by FFmpeg's names, e.g. "libx264" or "h264_vaapi". Threads: any.
const EncoderOpener& FFmpegEncoders();

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_ENCODER_H_
