// Reads the syntax elements of a NAL unit one after the other (ITU-T H.264, 7.2).
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_ELEMENT_READER_H_
#define RECORD_STREAM_ELEMENT_READER_H_

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "kx_utility/bitbuffer.h"
#include "record/stream/annex_b.h"

namespace kxrtc_host {

// The first element that is missing or out of range fails all later ones: they are 0. Check ok() at
// the end, and in loops whose count comes from the stream.
class ElementReader {
 public:
  // Reads the first `max_bytes` bytes of the payload of `unit`.
  ElementReader(const NalUnit& unit, uint32_t max_bytes)
      : rbsp_(kxrtc::H264::ParseRbsp(unit.data + 1, std::min(unit.size - 1, max_bytes))),
        buffer_(rbsp_.data(), static_cast<uint32_t>(rbsp_.size())) {}
  ElementReader(const ElementReader&) = delete;
  ElementReader& operator=(const ElementReader&) = delete;

  // u(n), for up to 32 bits, ue(v) and se(v).
  uint32_t U(uint32_t bits) {
    uint32_t value = 0;
    ok_ = ok_ && buffer_.ReadBits(&value, bits);
    return value;
  }
  bool Flag() { return U(1) != 0; }
  uint32_t Ue(uint32_t max = std::numeric_limits<uint32_t>::max()) {
    uint32_t value = 0;
    ok_ = ok_ && buffer_.ReadExponentialGolomb(&value) && value <= max;
    return ok_ ? value : 0;
  }
  int32_t Se() {
    int32_t value = 0;
    ok_ = ok_ && buffer_.ReadSignedExponentialGolomb(&value);
    return value;
  }
  void Skip(uint32_t bits) { ok_ = ok_ && buffer_.ConsumeBits(bits); }

  bool ok() const { return ok_; }

  // So many bytes of the RBSP decide the result. The element that failed, if one did, is among
  // them.
  uint32_t ReadBytes() {
    constexpr uint32_t kLongestPrefix = 5;  // 32 zero bits from anywhere in a byte make no number.
    uint32_t bytes = 0;
    uint32_t bits = 0;
    buffer_.GetCurrentOffset(&bytes, &bits);
    if (bits > 0) ++bytes;
    if (!ok_) bytes += kLongestPrefix;
    return std::min(bytes, static_cast<uint32_t>(rbsp_.size()));
  }

 private:
  const std::vector<uint8_t> rbsp_;
  kx_utility::BitBuffer buffer_;
  bool ok_ = true;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_ELEMENT_READER_H_
