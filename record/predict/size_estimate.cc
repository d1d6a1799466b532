#include "record/predict/size_estimate.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "record/index/descriptor_loading.h"
#include "record/parts/kept_parts.h"
#include "record/predict/chosen_video.h"

namespace kxrtc_host {
namespace {

// As kxrtc::EstimateMp4Size() counts, for another bit rate.
std::optional<uint64_t> BytesAt(uint32_t bit_rate_kbps, uint64_t audio_frames) {
  uint64_t millibits = 0;
  const uint64_t of_frame = uint64_t{kxrtc::kAudioFrameDurationUs} * bit_rate_kbps;
  if (__builtin_mul_overflow(audio_frames, of_frame, &millibits)) return std::nullopt;
  return millibits / 8000;
}

// How many of the first `audio_frames` are in `parts`.
uint64_t FramesIn(const PartRequest& parts, uint64_t audio_frames) {
  if (parts.IsWhole() || audio_frames > static_cast<uint64_t>(kNoPartEnd)) return audio_frames;
  constexpr int64_t kFrameUs = kxrtc::kAudioFrameDurationUs;
  const int64_t frames = std::min(static_cast<int64_t>(audio_frames), kNoPartEnd / kFrameUs);
  return static_cast<uint64_t>(KeptParts(parts).FileTime(frames * kFrameUs) / kFrameUs);
}

}  // namespace

std::optional<uint64_t> EstimateMp4Bytes(const ReadOnlyFile& descriptor,
                                         const PictureChoice& choice, const PartRequest& parts) {
  kxrtc::SpeakerRecordDescReader reader;
  kxrtc::SpeakerRecordOverall overall;
  if (!LoadDescriptor(descriptor, &reader) || !reader.GetSpeakerRecordOverall(&overall)) {
    return std::nullopt;
  }
  uint64_t audio_frames = 0;
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    kxrtc::SpeakerRecordSession session;
    if (!reader.GetSpeakerRecordSession(i, &session)) return std::nullopt;
    audio_frames += session.session_audio_frame_count;
  }
  audio_frames = FramesIn(parts, audio_frames);
  const bool is_desktop = overall.contain_desktop != 0;
  const kxrtc::VideoSettings asked = kxrtc::VideoSettingsFor(is_desktop);
  const uint32_t bit_rate_kbps = ChosenVideo(asked, choice).bit_rate_kbps;
  if (bit_rate_kbps != asked.bit_rate_kbps) return BytesAt(bit_rate_kbps, audio_frames);
  const int64_t size = kxrtc::EstimateMp4Size(audio_frames, is_desktop);
  return size < 0 ? std::nullopt : std::optional(static_cast<uint64_t>(size));
}

}  // namespace kxrtc_host
