// UTF-8 text (RFC 3629).
// Threads: any.
#ifndef RECORD_SPEAKERS_UTF8_H_
#define RECORD_SPEAKERS_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kxrtc_host {

// The length of the character at `at`, which is inside `text`, and its number; 0 if what stands
// there is not a character.
size_t ReadUtf8Character(std::string_view text, size_t at, uint32_t* character);

bool IsUtf8(std::string_view text);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_UTF8_H_
