// Which encoders work on this machine, tried one after the other.
// Threads: any.
#ifndef HOST_MP4_ENCODER_LIST_H_
#define HOST_MP4_ENCODER_LIST_H_

#include <vector>

#include "host/ffmpeg/h264_encoder.h"
#include "host/mp4/encoder_choice.h"

namespace kxrtc_host {

// Opens each encoder that can be chosen by name once, and closes it.
std::vector<EncoderState> TryEncoders(const EncoderOpener& opener);

}  // namespace kxrtc_host

#endif  // HOST_MP4_ENCODER_LIST_H_
