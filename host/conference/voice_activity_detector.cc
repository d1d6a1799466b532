#include "host/conference/voice_activity_detector.h"

#include <cmath>

#include "host/conference/audio_format.h"

namespace kxrtc_host {

VoiceActivityDetector::VoiceActivityDetector(const VoiceActivityConfig& config)
    : config_(config), threshold_power_(std::pow(10.0, config.threshold_dbfs / 10)) {}

bool VoiceActivityDetector::Update(const float* interleaved, size_t samples) {
  double energy = 0;
  const size_t floats = samples * kAudioChannels;
  for (size_t i = 0; i < floats; ++i) energy += double{interleaved[i]} * interleaved[i];
  const int64_t length_us = TimeOfSample(static_cast<int64_t>(samples));
  if (energy >= threshold_power_ * static_cast<double>(floats)) {
    loud_us_ += length_us;
    quiet_us_ = 0;
    if (loud_us_ >= config_.attack_us) speaking_ = true;
  } else {
    loud_us_ = 0;
    quiet_us_ += length_us;
    if (quiet_us_ >= config_.hang_over_us) speaking_ = false;
  }
  return speaking_;
}

void VoiceActivityDetector::Reset() {
  loud_us_ = 0;
  quiet_us_ = 0;
  speaking_ = false;
}

}  // namespace kxrtc_host
