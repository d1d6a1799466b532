// Owns one transcoder of the library's C interface.
#ifndef HOST_MP4_TRANSCODER_HANDLE_H_
#define HOST_MP4_TRANSCODER_HANDLE_H_

#include <memory>

#include "rtc_transcoder/api/rtc_transcoder.h"

namespace kxrtc_host {

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

}  // namespace kxrtc_host

#endif  // HOST_MP4_TRANSCODER_HANDLE_H_
