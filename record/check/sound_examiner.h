// Tries recorded audio frames with a decoder. This house has none: the host implements it.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_SOUND_EXAMINER_H_
#define RECORD_CHECK_SOUND_EXAMINER_H_

#include <cstdint>

namespace kxrtc_host {

class SoundExaminer {
 public:
  virtual ~SoundExaminer() = default;

  // Call before the first frame. False: there is no decoder for this sound.
  [[nodiscard]] virtual bool Begin(uint32_t object_type, uint32_t channel_count) = 0;

  // True if every player can decode `data`, a raw AAC frame without its ADTS header, to one frame
  // of the sound of Begin(). Call in the order of the record.
  [[nodiscard]] virtual bool Decodes(const uint8_t* data, uint32_t size) = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_SOUND_EXAMINER_H_
