#include "record/parts/kept_sound.h"

#include <algorithm>

#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

int64_t Samples(int64_t time_us) {
  return ScaleTime(time_us, kAudioSampleRate, kMicrosecondsPerSecond);
}

// Of two frames: the sound that a frame carries something of.
constexpr int64_t kReach = 2 * kSamplesPerAudioFrame;

// A cut needs no more; a longer space is one of the record.
constexpr int64_t kMostSilentFrames = 4;

bool EndsBefore(const KeptPart& part, int64_t time) {
  const int64_t end = Samples(part.whole.to_us);
  return part.precedes_cut ? time + kReach > end : time >= end;
}

}  // namespace

bool KeptSound::Starts(const KeptPart& part, int64_t time) const {
  const int64_t start = Samples(part.whole.from_us);
  if (time >= start) return true;
  return !part.follows_cut && time + kReach > start &&
         !parts_->IsCut({AudioSamplesToMicroseconds(time), part.whole.from_us});
}

std::optional<KeptSound::Place> KeptSound::Next(int64_t time) {
  if (parts_->is_whole()) return Place{time, kSamplesPerAudioFrame, 0};
  const auto& parts = parts_->parts();
  while (current_ < parts.size() && EndsBefore(parts[current_], time)) {
    ++current_;
    in_part_ = false;
  }
  if (current_ == parts.size() || !Starts(parts[current_], time)) return std::nullopt;
  const KeptPart& part = parts[current_];
  Place place;
  if (!in_part_) {
    const int64_t exact = time - Samples(part.whole.from_us) + Samples(part.file_us);
    if (!has_frame_) grid_ = exact;
    const int64_t at =
        grid_ + ScaleTime(exact - grid_, 1, kSamplesPerAudioFrame) * kSamplesPerAudioFrame;
    shift_ = at - time;
    if (has_frame_) {
      place.silent_frames = static_cast<uint32_t>(
          std::clamp<int64_t>((at - end_) / kSamplesPerAudioFrame, 0, kMostSilentFrames));
    }
  }
  in_part_ = has_frame_ = true;
  place.time = time + shift_;
  place.duration = kSamplesPerAudioFrame;
  if (!part.precedes_cut) {
    place.duration = std::min(place.duration, Samples(part.whole.to_us) - time);
  }
  end_ = place.time + place.duration;
  return place;
}

}  // namespace kxrtc_host
