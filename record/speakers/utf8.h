// UTF-8 text (RFC 3629).
// Threads: any.
#ifndef RECORD_SPEAKERS_UTF8_H_
#define RECORD_SPEAKERS_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kxrtc_host {

// The length of the character at `at`, which is inside `text`, and its number; 0 if what stands
// there is not a character.
size_t ReadUtf8Character(std::string_view text, size_t at, uint32_t* character);

bool IsUtf8(std::string_view text);

// True for what changes how other characters are shown, or where: C1 controls, marks and overrides
// of the reading direction, separators of lines and paragraphs.
bool IsTextControl(uint32_t character);

// UTF-8 text on one line and in its own order: control characters become blanks, all of which but
// one between two words go; text controls are left out.
std::string OneLine(std::string_view text);

// The whole characters among the first `max_bytes` bytes of UTF-8 text.
std::string CutUtf8(std::string_view text, size_t max_bytes);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_UTF8_H_
