#include "host/conference/sound_track.h"

#include <algorithm>

namespace kxrtc_host {
namespace {

constexpr int64_t kMask = SoundTrack::kCapacitySamples - 1;
static_assert((SoundTrack::kCapacitySamples & kMask) == 0, "the mask needs a power of two");

}  // namespace

SoundTrack::SoundTrack() : ring_(kCapacitySamples * kAudioChannels) {}

void SoundTrack::Put(int64_t index, const float* interleaved, size_t samples) {
  while (samples > 0) {
    const auto at = static_cast<size_t>(index & kMask);
    const size_t run = std::min(samples, static_cast<size_t>(kCapacitySamples) - at);
    float* const target = ring_.data() + at * kAudioChannels;
    if (interleaved == nullptr) {
      std::fill_n(target, run * kAudioChannels, 0.0f);
    } else {
      std::copy_n(interleaved, run * kAudioChannels, target);
      interleaved += run * kAudioChannels;
    }
    index += static_cast<int64_t>(run);
    samples -= run;
  }
}

void SoundTrack::Write(int64_t first, const float* interleaved, size_t samples) {
  const std::lock_guard<std::mutex> guard(lock_);
  int64_t last = first + static_cast<int64_t>(samples);
  if (begin_ == end_ || first - end_ >= kCapacitySamples) begin_ = end_ = first;
  if (last <= end_) return;
  const int64_t start = std::max({first, end_, last - kCapacitySamples});
  if (start > end_) Put(end_, nullptr, static_cast<size_t>(start - end_));
  Put(start, interleaved + (start - first) * kAudioChannels, static_cast<size_t>(last - start));
  end_ = last;
  begin_ = std::max(begin_, end_ - kCapacitySamples);
}

size_t SoundTrack::Read(int64_t first, float* interleaved, size_t samples) const {
  const std::lock_guard<std::mutex> guard(lock_);
  const int64_t last = first + static_cast<int64_t>(samples);
  const int64_t from = std::clamp(begin_, first, last);
  const int64_t to = std::clamp(end_, from, last);
  std::fill_n(interleaved, (from - first) * kAudioChannels, 0.0f);
  for (int64_t index = from; index < to;) {
    const int64_t at = index & kMask;
    const int64_t run = std::min(to - index, kCapacitySamples - at);
    std::copy_n(ring_.data() + at * kAudioChannels, run * kAudioChannels,
                interleaved + (index - first) * kAudioChannels);
    index += run;
  }
  std::fill_n(interleaved + (to - first) * kAudioChannels, (last - to) * kAudioChannels, 0.0f);
  return static_cast<size_t>(to - from);
}

void SoundTrack::Clear() {
  const std::lock_guard<std::mutex> guard(lock_);
  begin_ = end_ = 0;
}

}  // namespace kxrtc_host
