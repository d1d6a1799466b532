#include "record/predict/size_estimate.h"

#include <unistd.h>

#include <string>
#include <utility>

#include "kx_utility/file.h"
#include "kx_utility/text_file.h"
#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_descriptor.h"

namespace kxrtc_host {

std::optional<uint64_t> EstimateMp4Bytes(const ReadOnlyFile& descriptor) {
  if (!descriptor.is_open()) return std::nullopt;
  kx_utility::File file(::dup(descriptor.descriptor()));
  std::string text;
  if (!file.Seek(0) || !kx_utility::ReadText(&file, descriptor.size(), &text)) return std::nullopt;
  kxrtc::SpeakerRecordDescReader reader;
  kxrtc::SpeakerRecordOverall overall;
  if (!reader.InitializeFromText(std::move(text)) || !reader.GetSpeakerRecordOverall(&overall)) {
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
