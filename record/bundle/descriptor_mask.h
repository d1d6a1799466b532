// Keeps of a descriptor its JSON structure, the members that the format has, and their numbers.
// Other words and texts become a row of the letter x of the same length, so that a parser stops at
// the same place.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_DESCRIPTOR_MASK_H_
#define RECORD_BUNDLE_DESCRIPTOR_MASK_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "files/read_only_file.h"
#include "record/bundle/file_mask.h"

namespace kxrtc_host {

class DescriptorMask final : public FileMask {
 public:
  // `descriptor` is borrowed.
  explicit DescriptorMask(ReadOnlyFile* descriptor) : descriptor_(descriptor) {}

  [[nodiscard]] bool Next(MaskStretch* stretch) override;

 private:
  char Mask(char c);
  char MaskText(char c);
  char MaskOutside(char c);
  template <size_t count>
  bool KeepsWord(const std::string_view (&words)[count], uint64_t position, std::string_view end);

  ReadOnlyFile* descriptor_;
  uint64_t position_ = 0;    // Of the next byte.
  uint64_t kept_to_ = 0;     // A known word goes so far.
  bool is_text_ = false;     // Between quotes.
  bool is_escaped_ = false;  // Behind a backslash.
  int hex_digits_ = 0;       // So many of an escape sequence may follow.
  bool is_word_ = false;     // Outside of quotes; likewise the next one.
  bool is_number_ = false;
  bool has_ended_ = false;      // Readers stop at the first zero byte.
  bool keeps_numbers_ = false;  // The latest member is one of the format.
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_DESCRIPTOR_MASK_H_
