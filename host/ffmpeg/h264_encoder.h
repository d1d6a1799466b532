// An H.264 encoder of FFmpeg, in hardware or software.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_H264_ENCODER_H_
#define HOST_FFMPEG_H264_ENCODER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

struct EncoderSettings {
  uint32_t width = 0;  // Pixels, even.
  uint32_t height = 0;
  uint32_t frame_rate = 0;  // Frames a second.
  uint32_t bit_rate_kbps = 0;
  uint32_t quality = 0;  // If not 0, instead of the bit rate: 1, the best, to 51.
  std::string preset;    // Of libx264; other encoders have their own default.
  int threads = 0;       // 0: as many as there are processors.
};

class H264Encoder {
 public:
  // Opens the first of `names` that works here. Adds the reason why each earlier one does not work
  // to
  // `*obstacles`. False: none works.
  [[nodiscard]] bool Open(const std::vector<std::string>& names, const EncoderSettings& settings,
                          std::vector<std::string>* obstacles);

  // Sends one 4:2:0 picture, null to end; its pts counts frames. Then call Receive() until it
  // returns false. A negative result is FFmpeg's error number.
  int Send(const AVFrame* picture);

  // Stores the next access unit (Annex B; times count frames). False: none yet, or no
  // more.
  [[nodiscard]] bool Receive(AVPacket* packet);

  std::string name() const { return context_ != nullptr ? context_->codec->name : ""; }

  // The parameter sets, Annex B.
  const uint8_t* extradata() const { return context_->extradata; }
  uint32_t extradata_size() const { return static_cast<uint32_t>(context_->extradata_size); }

 private:
  CodecContextHandle context_;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_H264_ENCODER_H_
