#include "record/bundle/sei_mask.h"

#include <cstddef>

#include "record/bundle/file_mask.h"
#include "record/stream/picture_timing.h"

namespace kxrtc_host {
namespace {

// Follows the RBSP byte by byte and tells which of them stay.
class SeiStructure {
 public:
  bool Keeps(uint8_t byte) {
    if (part_ == Part::kMessage) {
      const bool keeps = type_ == kPictureTimingMessage && done_ < kPictureTimingBytes;
      if (++done_ == size_) Begin();
      return keeps;
    }
    uint32_t* const number = part_ == Part::kType ? &type_ : &size_;
    *number += byte;
    if (byte == 0xFF) return true;
    if (part_ == Part::kType) {
      part_ = Part::kSize;
    } else if (size_ == 0) {
      Begin();
    } else {
      part_ = Part::kMessage;
    }
    return true;
  }

 private:
  enum class Part { kType, kSize, kMessage };

  void Begin() {
    part_ = Part::kType;
    type_ = size_ = done_ = 0;
  }

  Part part_ = Part::kType;
  uint32_t type_ = 0;
  uint32_t size_ = 0;
  uint32_t done_ = 0;  // Bytes of the message.
};

}  // namespace

void MaskSei(std::vector<uint8_t>* payload) {
  std::vector<uint8_t>& bytes = *payload;
  SeiStructure structure;
  int zeros = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const uint8_t byte = bytes[i];
    // An escape stays: without it the payload would have one byte more.
    if (zeros >= 2 && byte == 3) {
      bytes[i - 1] = bytes[i - 2] = 0;
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    if (!structure.Keeps(byte)) bytes[i] = kMaskByte;
  }
}

}  // namespace kxrtc_host
