// A number that two indexes share only when their bytes are the same: 64 bits, FNV-1a.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_INDEX_DIGEST_H_
#define HOST_CONFERENCE_INDEX_DIGEST_H_

#include <cstddef>
#include <cstdint>

namespace kxrtc_host {

class IndexDigest {
 public:
  void Add(const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) value_ = (value_ ^ bytes[i]) * 0x100000001b3u;
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xcbf29ce484222325u;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_INDEX_DIGEST_H_
