#include "host/mp4/mp4_box.h"

#include <cstring>

namespace kxrtc_host {

bool FindMp4Box(OutputFile* file, const char* type, Mp4Box* box) {
  constexpr uint64_t kHeaderBytes = 8;
  constexpr uint64_t kLongHeaderBytes = 16;
  for (uint64_t at = box->begin; at + kHeaderBytes <= box->end;) {
    uint8_t header[kLongHeaderBytes] = {};
    uint64_t header_bytes = kHeaderBytes;
    if (!file->ReadAt(at, header, kHeaderBytes)) return false;
    uint64_t size = 0;
    for (int i = 0; i < 4; ++i) size = size << 8 | header[i];
    if (size == 1) {  // A 64-bit size follows.
      header_bytes = kLongHeaderBytes;
      if (!file->ReadAt(at, header, kLongHeaderBytes)) return false;
      size = 0;
      for (int i = 8; i < 16; ++i) size = size << 8 | header[i];
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
