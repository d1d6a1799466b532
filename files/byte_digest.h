// A number that two runs of bytes share only when they are the same, unless somebody wants them to:
// 64 bits, FNV-1a.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_BYTE_DIGEST_H_
#define FILES_BYTE_DIGEST_H_

#include <cstddef>
#include <cstdint>

namespace kxrtc_host {

class ByteDigest {
 public:
  void Add(const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) value_ = (value_ ^ bytes[i]) * 0x100000001b3u;
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325u;
};

}  // namespace kxrtc_host

#endif  // FILES_BYTE_DIGEST_H_
