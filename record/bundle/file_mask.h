// Decides which bytes of a file stay in a bundle.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_FILE_MASK_H_
#define RECORD_BUNDLE_FILE_MASK_H_

#include <cstdint>
#include <vector>

namespace kxrtc_host {

// What a bundle has instead of private bytes. It is not zero: zero bytes would belong to the start
// code that follows them. It begins neither a start code, an ADTS header nor an index record, and a
// decoder of AAC finds the end of a frame there.
inline constexpr uint8_t kMaskByte = 0xE0;

// Bytes that a bundle has at one place of a file: its own, or others in their place.
struct MaskStretch {
  uint64_t begin = 0;
  std::vector<uint8_t> bytes;
  uint64_t zeros = 0;  // So many zero bytes, if there are no others.

  uint64_t size() const { return bytes.empty() ? zeros : bytes.size(); }
  uint64_t end() const { return begin + size(); }
};

class FileMask {
 public:
  virtual ~FileMask() = default;

  // The next stretch that stays, in rising order of its begin. False when there is none. Where two
  // overlap, the later one counts.
  [[nodiscard]] virtual bool Next(MaskStretch* stretch) = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_FILE_MASK_H_
