// Sums up the calls into an MP4 writer in order, so that a prediction and the real replay can be
// compared without keeping either.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_CALL_DIGEST_H_
#define HOST_RECORD_CALL_DIGEST_H_

#include <cstdint>

namespace kxrtc_host {

class CallDigest {
 public:
  void AddAttributes(uint32_t width, uint32_t height, int32_t rotation_angle) {
    Add(1);
    Add(width);
    Add(height);
    Add(static_cast<uint32_t>(rotation_angle));
  }
  void AddVideo(int64_t timestamp_us) {
    Add(2);
    Add(static_cast<uint64_t>(timestamp_us));
  }
  void AddAudio(int64_t timestamp_us, uint32_t size) {
    Add(3);
    Add(static_cast<uint64_t>(timestamp_us));
    Add(size);
  }
  uint64_t value() const { return value_; }

 private:
  // FNV-1a over 64-bit words.
  void Add(uint64_t word) { value_ = (value_ ^ word) * 0x100000001B3; }

  uint64_t value_ = 0xCBF29CE484222325;
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_CALL_DIGEST_H_
