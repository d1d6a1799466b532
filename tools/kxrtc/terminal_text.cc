#include "tools/kxrtc/terminal_text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "record/index/record_text.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::Text;

struct CharacterRange {
  uint32_t first;
  uint32_t last;
};

// C1 controls, marks and overrides of the reading direction, separators of lines and paragraphs.
constexpr CharacterRange kHarmful[] = {
    {0x80, 0x9F}, {0x61C, 0x61C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

bool IsHarmful(uint32_t character) {
  return std::any_of(std::begin(kHarmful), std::end(kHarmful), [=](CharacterRange range) {
    return character >= range.first && character <= range.last;
  });
}

// The length of the UTF-8 character at `at`, two bytes or more, and its number; 0 if it is not one
// (RFC 3629, clause 4).
size_t ReadCharacter(const std::string& text, size_t at, uint32_t* character) {
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<uint8_t>(text[at]);
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

std::string ByteText(char byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\t') return "\\t";
  return Text("\\x%02X", static_cast<uint8_t>(byte));
}

}  // namespace

std::string TerminalText(const std::string& text) {
  std::string shown;
  for (size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (c >= ' ' && c < 0x7F) {
      shown += c;
      ++i;
      continue;
    }
    uint32_t character = 0;
    const size_t length = ReadCharacter(text, i, &character);
    if (length == 0) {
      shown += ByteText(c);
      ++i;
      continue;
    }
    shown += IsHarmful(character) ? Text("\\u%04X", character) : text.substr(i, length);
    i += length;
  }
  return shown;
}

}  // namespace kxrtc_tool
