#include "host/mp4/sample_bounds.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "record/predict/chosen_video.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

// The limit for the time after the end of the sound.
constexpr uint64_t kSilenceCountedUs = 3600 * kMicrosecondsPerSecond;

}  // namespace

SampleBounds BoundsOf(const RecordOutline& outline, VideoMode mode, const PictureChoice& choice) {
  const kxrtc::VideoSettings largest = ChosenVideo(kxrtc::VideoSettingsFor(true), choice);
  SampleBounds bounds;
  bounds.audio_frames = outline.audio_frames;
  const auto duration_us = static_cast<uint64_t>(MediaDurationUs(outline));
  const uint64_t fillers = duration_us / kxrtc::kVideoGapLimitWaitingForKeyFrameUs +
                           outline.sessions + outline.switches_to_audio_only + 1;
  if (mode != VideoMode::kNone) bounds.video_samples = outline.video_frames + fillers;
  bounds.bytes = outline.media_bytes;
  if (mode == VideoMode::kEncode) {
    // Video may continue after the end of the audio, but a damaged record may have any times.
    const auto recorded_us =
        std::min(static_cast<uint64_t>(outline.recorded_us), 2 * duration_us + kSilenceCountedUs);
    const uint64_t seconds = std::max(duration_us, recorded_us) / kMicrosecondsPerSecond + 2;
    bounds.video_samples = seconds * largest.frame_rate;
    bounds.bytes += seconds * largest.bit_rate_kbps * 1000 / 8;
  }
  return bounds;
}

}  // namespace kxrtc_host
