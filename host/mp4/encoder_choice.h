// The encoders among which a user chooses, by FFmpeg's names.
// Threads: any.
#ifndef HOST_MP4_ENCODER_CHOICE_H_
#define HOST_MP4_ENCODER_CHOICE_H_

#include <iterator>
#include <string>

#include "host/mp4/writer_options.h"

namespace kxrtc_host {

inline constexpr char kSoftwareEncoder[] = "libx264";

// Those of graphics cards and chips, in the order in which kAnyEncoder tries them.
inline constexpr const char* kHardwareEncoders[] = {"h264_nvenc", "h264_qsv", "h264_vaapi",
                                                    "h264_v4l2m2m"};

inline constexpr const char* kEncoderNames[] = {kSoftwareEncoder, "h264_vaapi", "h264_qsv",
                                                "h264_nvenc", "h264_v4l2m2m"};

// It takes a bit rate only.
inline constexpr char kEncoderWithoutQuality[] = "h264_v4l2m2m";

// Instead of a name: the first hardware encoder that works here, else kSoftwareEncoder.
inline constexpr char kAnyEncoder[] = "auto";

// What an encoder is on this machine.
struct EncoderState {
  std::string name;
  bool opens = false;
  std::string obstacle;  // Why it does not open.
};

// Has the writer use the encoder `name`, and no other one, or kAnyEncoder.
inline void ChooseEncoder(const std::string& name, Mp4SinkWriterOptions* options) {
  options->hardware_encoders.clear();
  options->software_encoders = {name == kAnyEncoder ? kSoftwareEncoder : name};
  options->copies_without_encoder = false;
  if (name != kAnyEncoder) return;
  options->hardware_encoders.assign(std::begin(kHardwareEncoders), std::end(kHardwareEncoders));
}

}  // namespace kxrtc_host

#endif  // HOST_MP4_ENCODER_CHOICE_H_
