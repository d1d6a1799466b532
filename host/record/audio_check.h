// Looks at the head of recorded audio frames. A host may record any encoder's output; frames with
// an ADTS header (ISO/IEC 14496-3, 1.A.2.2) tell their own format.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_AUDIO_CHECK_H_
#define HOST_RECORD_AUDIO_CHECK_H_

#include <cstdint>

#include "host/record/index_walker.h"
#include "host/record/record_file.h"
#include "host/record/record_summary.h"

namespace kxrtc_host {

inline constexpr uint32_t kExpectedSampleRate = 48000;

// Reads the header at `bytes` (7 bytes); false when it is none. `frame_bytes`: the length it
// states, which need not be that of the frame.
[[nodiscard]] bool ReadAdtsHeader(const uint8_t* bytes, AudioFormat* format, uint32_t* frame_bytes);
inline constexpr uint32_t kAdtsHeaderSize = 7;

class AudioCheck {
 public:
  // Both are borrowed; the audio format and findings of the summary are written.
  AudioCheck(RecordFile* file, RecordSummary* summary) : file_(file), summary_(summary) {}

  // For a frame inside the file.
  void OnFrame(const IndexRecord& record);

 private:
  RecordFile* file_;
  RecordSummary* summary_;
  bool is_first_ = true;
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_AUDIO_CHECK_H_
