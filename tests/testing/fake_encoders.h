// Encoders under any name: each is libx264 behind the interface of encoders, or does not work.
#ifndef TESTS_TESTING_FAKE_ENCODERS_H_
#define TESTS_TESTING_FAKE_ENCODERS_H_

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/ffmpeg/ffmpeg_encoder.h"

namespace kx_testing {

class FakeEncoder final : public kxrtc_host::H264Encoder {
 public:
  // Fails at the picture after `pictures`; negative: never.
  FakeEncoder(std::string name, std::unique_ptr<kxrtc_host::H264Encoder> encoder, int pictures)
      : name_(std::move(name)), encoder_(std::move(encoder)), pictures_(pictures) {}

  int Send(const AVFrame* picture) override {
    return pictures_-- == 0 ? AVERROR(EIO) : encoder_->Send(picture);
  }
  bool Receive(AVPacket* packet) override { return encoder_->Receive(packet); }
  std::string name() const override { return name_; }
  std::vector<uint8_t> parameter_sets() const override { return encoder_->parameter_sets(); }

 private:
  const std::string name_;
  const std::unique_ptr<kxrtc_host::H264Encoder> encoder_;
  int pictures_;
};

class FakeEncoderOpener final : public kxrtc_host::EncoderOpener {
 public:
  std::unique_ptr<kxrtc_host::H264Encoder> Open(const std::string& name,
                                                const kxrtc_host::EncoderSettings& settings,
                                                std::string* obstacle) const override {
    asked.push_back(name);
    if (working.count(name) == 0) {
      *obstacle = name + " does not start: there is no such chip";
      return nullptr;
    }
    auto encoder = kxrtc_host::FFmpegEncoders().Open("libx264", settings, obstacle);
    return std::make_unique<FakeEncoder>(name, std::move(encoder), pictures);
  }

  std::set<std::string> working;
  int pictures = -1;
  mutable std::vector<std::string> asked;  // In order.
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_FAKE_ENCODERS_H_
