#include "host/result/mp4_box.h"

#include <cstring>

namespace kxrtc_host {

bool FindMp4Box(const Mp4Reader& read, const char* type, Mp4Box* box) {
  constexpr uint64_t kHeaderBytes = 8;
  constexpr uint64_t kLongHeaderBytes = 16;
  uint64_t at = box->begin;
  for (int i = 0; i < kMaxMp4Boxes && at + kHeaderBytes <= box->end; ++i) {
    uint8_t header[kLongHeaderBytes] = {};
    uint64_t header_bytes = kHeaderBytes;
    if (!read(at, header, kHeaderBytes)) return false;
    uint64_t size = 0;
    for (int byte = 0; byte < 4; ++byte) size = size << 8 | header[byte];
    if (size == 1) {  // A 64-bit size follows.
      header_bytes = kLongHeaderBytes;
      if (!read(at, header, kLongHeaderBytes)) return false;
      size = 0;
      for (int byte = 8; byte < 16; ++byte) size = size << 8 | header[byte];
    }
    if (size < header_bytes || size > box->end - at) return false;
    if (std::memcmp(header + 4, type, 4) == 0) {
      *box = {at + header_bytes, at + size};
      return true;
    }
    at += size;
  }
  return false;
}

}  // namespace kxrtc_host
