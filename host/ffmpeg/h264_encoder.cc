#include "host/ffmpeg/h264_encoder.h"

namespace kxrtc_host {

std::unique_ptr<H264Encoder> OpenFirstEncoder(const EncoderOpener& opener,
                                              const std::vector<std::string>& names,
                                              const EncoderSettings& settings,
                                              std::vector<std::string>* obstacles) {
  for (const std::string& name : names) {
    std::string obstacle;
    if (auto encoder = opener.Open(name, settings, &obstacle)) return encoder;
    obstacles->push_back(obstacle);
  }
  return nullptr;
}

}  // namespace kxrtc_host
