// Owns one transcoder of the library's C interface.
#ifndef TOOLS_KXRTC_TRANSCODER_HANDLE_H_
#define TOOLS_KXRTC_TRANSCODER_HANDLE_H_

#include <memory>

#include "rtc_transcoder/api/rtc_transcoder.h"

namespace kxrtc_tool {

struct ReleaseTranscoder {
  void operator()(kxrtc::SpeakerRecordTranscoder* transcoder) const {
    ReleaseSpeakerRecordTranscoder(transcoder);
  }
};
using TranscoderHandle = std::unique_ptr<kxrtc::SpeakerRecordTranscoder, ReleaseTranscoder>;

inline TranscoderHandle MakeTranscoder() {
  void* transcoder = nullptr;
  CreateSpeakerRecordTranscoder(&transcoder);
  return TranscoderHandle(static_cast<kxrtc::SpeakerRecordTranscoder*>(transcoder));
}

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TRANSCODER_HANDLE_H_
