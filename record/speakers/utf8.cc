#include "record/speakers/utf8.h"

namespace kxrtc_host {

size_t ReadUtf8Character(std::string_view text, size_t at, uint32_t* character) {
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<uint8_t>(text[at]);
  *character = lead;
  if (lead < 0x80) return 1;
  const size_t length = lead >= 0xF0 ? 4 : (lead >= 0xE0 ? 3 : 2);
  if (lead < 0xC0 || lead > 0xF4 || text.size() - at < length) return 0;
  *character = lead & (0xFFU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<uint8_t>(text[at + i]);
    if ((next & 0xC0) != 0x80) return 0;
    *character = *character << 6 | (next & 0x3F);
  }
  const bool is_surrogate = *character >= 0xD800 && *character <= 0xDFFF;
  return *character < kLeast[length] || *character > 0x10FFFF || is_surrogate ? 0 : length;
}

bool IsUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    uint32_t character = 0;
    const size_t length = ReadUtf8Character(text, i, &character);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

}  // namespace kxrtc_host
