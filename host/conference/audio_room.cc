#include "host/conference/audio_room.h"

#include <algorithm>
#include <cmath>

namespace kxrtc_host {
namespace {

constexpr float kPeak = 0.98f;
constexpr float kGainRecovery = 0.02f;  // Per block: about a second after several voices at once.

}  // namespace

AudioRoom::AudioRoom(const VoiceActivityConfig& config) : config_(config) {}

SoundTrack* AudioRoom::AddMicrophone(uint32_t user_id, bool local) {
  const std::lock_guard<std::mutex> guard(lock_);
  Microphone& microphone = microphones_[user_id];
  microphone.detector = VoiceActivityDetector(config_);
  microphone.local = local;
  return &microphone.track;
}

void AudioRoom::SetOpen(uint32_t user_id, bool open) {
  const std::lock_guard<std::mutex> guard(lock_);
  const auto found = microphones_.find(user_id);
  if (found == microphones_.end()) return;
  if (found->second.open != open) found->second.detector.Reset();
  found->second.open = open;
}

void AudioRoom::Mix(int64_t first, bool with_local, float* block) {
  const std::lock_guard<std::mutex> guard(lock_);
  float own[kAudioBlockFloats];
  std::fill_n(block, kAudioBlockFloats, 0.0f);
  for (auto& [user_id, microphone] : microphones_) {
    if (!microphone.open) continue;
    microphone.track.Read(first, own, kAudioBlockSamples);
    microphone.detector.Update(own, kAudioBlockSamples);
    if (microphone.local && !with_local) continue;
    for (size_t i = 0; i < kAudioBlockFloats; ++i) block[i] += own[i];
  }
  Limit(block);
}

// Several voices at once may exceed full scale. The gain then falls within the block and recovers
// slowly.
void AudioRoom::Limit(float* block) {
  float peak = 0;
  for (size_t i = 0; i < kAudioBlockFloats; ++i) peak = std::max(peak, std::abs(block[i]));
  const float allowed = peak > kPeak ? kPeak / peak : 1.0f;
  const float target = std::min(allowed, gain_ + kGainRecovery);
  if (gain_ != 1 || target != 1) {
    const float step = (target - gain_) / kAudioBlockFloats;
    for (size_t i = 0; i < kAudioBlockFloats; ++i) {
      gain_ += step;
      block[i] = std::clamp(block[i] * gain_, -1.0f, 1.0f);
    }
  }
  gain_ = std::min(target, 1.0f);
}

std::vector<Voice> AudioRoom::Voices() const {
  const std::lock_guard<std::mutex> guard(lock_);
  std::vector<Voice> voices;
  for (const auto& [user_id, microphone] : microphones_) {
    if (microphone.open) voices.push_back({user_id, microphone.detector.speaking()});
  }
  return voices;
}

}  // namespace kxrtc_host
