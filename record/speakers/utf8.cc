#include "record/speakers/utf8.h"

#include <algorithm>
#include <iterator>

namespace kxrtc_host {
namespace {

struct CharacterRange {
  uint32_t first;
  uint32_t last;
};

constexpr CharacterRange kTextControls[] = {
    {0x80, 0x9F}, {0x61C, 0x61C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

}  // namespace

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

bool IsTextControl(uint32_t character) {
  return std::any_of(std::begin(kTextControls), std::end(kTextControls), [=](CharacterRange range) {
    return character >= range.first && character <= range.last;
  });
}

std::string OneLine(std::string_view text) {
  std::string line;
  bool needs_blank = false;
  for (size_t i = 0; i < text.size();) {
    uint32_t character = 0;
    const size_t length = std::max<size_t>(1, ReadUtf8Character(text, i, &character));
    if (character <= ' ' || character == 0x7F) {
      needs_blank = !line.empty();
    } else if (!IsTextControl(character)) {
      if (needs_blank) line += ' ';
      needs_blank = false;
      line += text.substr(i, length);
    }
    i += length;
  }
  return line;
}

std::string CutUtf8(std::string_view text, size_t max_bytes) {
  size_t end = std::min(text.size(), max_bytes);
  // A byte like 10xxxxxx continues a character.
  while (end < text.size() && end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

}  // namespace kxrtc_host
