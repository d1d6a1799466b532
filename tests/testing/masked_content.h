// Shows what a mask makes of a file.
#ifndef TESTS_TESTING_MASKED_CONTENT_H_
#define TESTS_TESTING_MASKED_CONTENT_H_

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "record/bundle/masked_file.h"

namespace kx_testing {

// The content of a file of `size` bytes, read in pieces of `piece` bytes.
inline std::string MaskedContent(std::unique_ptr<kxrtc_host::FileMask> mask, size_t size,
                                 size_t piece = 1 << 20) {
  kxrtc_host::MaskedFile file;
  file.Add(std::move(mask));
  std::string content(size, '\0');
  for (size_t at = 0; at < size; at += piece) {
    file.Read(at, reinterpret_cast<uint8_t*>(&content[at]), std::min(piece, size - at));
  }
  return content;
}

// So many bytes of the mask.
inline std::string Masked(size_t size) {
  return std::string(size, static_cast<char>(kxrtc_host::kMaskByte));
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_MASKED_CONTENT_H_
