// An H.264 encoder, in hardware or software, and how one is chosen. FFmpeg's are in
// ffmpeg_encoder.h; tests have their own.
#ifndef HOST_FFMPEG_H264_ENCODER_H_
#define HOST_FFMPEG_H264_ENCODER_H_

#include <cstdint>
#include <memory>
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

// Open from its beginning to its end.
// Threads: an object belongs to one thread at a time.
class H264Encoder {
 public:
  virtual ~H264Encoder() = default;

  // Sends one 4:2:0 picture, null to end; its pts counts frames. Then call Receive() until it
  // returns false. A negative result is FFmpeg's error number.
  virtual int Send(const AVFrame* picture) = 0;

  // Stores the next access unit (Annex B; times count frames). False: none yet, or no
  // more.
  [[nodiscard]] virtual bool Receive(AVPacket* packet) = 0;

  virtual std::string name() const = 0;
  virtual std::vector<uint8_t> parameter_sets() const = 0;  // Annex B.
};

// Threads: any.
class EncoderOpener {
 public:
  // Null: `*obstacle` says why that encoder does not work here.
  virtual std::unique_ptr<H264Encoder> Open(const std::string& name,
                                            const EncoderSettings& settings,
                                            std::string* obstacle) const = 0;

 protected:
  ~EncoderOpener() = default;
};

// Opens the first of `names` that works here, and adds to `*obstacles` why each earlier one does
// not. Null: none works.
std::unique_ptr<H264Encoder> OpenFirstEncoder(const EncoderOpener& opener,
                                              const std::vector<std::string>& names,
                                              const EncoderSettings& settings,
                                              std::vector<std::string>* obstacles);

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_H264_ENCODER_H_
