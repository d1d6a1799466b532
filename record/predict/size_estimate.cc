#include "record/predict/size_estimate.h"

#include "kxrtc/recording/replay_rules.h"
#include "record/index/descriptor_loading.h"

namespace kxrtc_host {

std::optional<uint64_t> EstimateMp4Bytes(const ReadOnlyFile& descriptor) {
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
  const int64_t size = kxrtc::EstimateMp4Size(audio_frames, overall.contain_desktop != 0);
  return size < 0 ? std::nullopt : std::optional(static_cast<uint64_t>(size));
}

}  // namespace kxrtc_host
