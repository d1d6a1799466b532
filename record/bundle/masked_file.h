// A file as a bundle has it: as long as it was, with kMaskByte where its masks keep nothing.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_MASKED_FILE_H_
#define RECORD_BUNDLE_MASKED_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "record/bundle/file_mask.h"

namespace kxrtc_host {

class MaskedFile {
 public:
  // What a later mask keeps counts more than what those before it keep.
  void Add(std::unique_ptr<FileMask> mask);

  // Stores `size` bytes from `position` on, which is not before the end of the previous call.
  void Read(uint64_t position, uint8_t* out, size_t size);

 private:
  struct Layer {
    std::unique_ptr<FileMask> mask;
    std::vector<MaskStretch> open;  // They go on behind the end of the previous call.
    MaskStretch next;
    bool has_next = false;
  };

  static void Apply(Layer* layer, uint64_t position, uint64_t end, uint8_t* out);

  std::vector<Layer> layers_;
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_MASKED_FILE_H_
