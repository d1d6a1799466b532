#include "tools/kxrtc/terminal_text.h"

#include <cstdint>

#include "record/index/record_text.h"
#include "record/speakers/utf8.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::Text;

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
    const size_t length = kxrtc_host::ReadUtf8Character(text, i, &character);
    if (length <= 1) {  // No character, or a control.
      shown += ByteText(c);
      ++i;
      continue;
    }
    shown +=
        kxrtc_host::IsTextControl(character) ? Text("\\u%04X", character) : text.substr(i, length);
    i += length;
  }
  return shown;
}

}  // namespace kxrtc_tool
