// Texts for sizes and media types of a record.
// Threads: any.
#ifndef RECORD_INDEX_RECORD_TEXT_H_
#define RECORD_INDEX_RECORD_TEXT_H_

#include <cstdint>
#include <string>

namespace kxrtc_host {

// printf into a string of any length.
std::string Text(const char* format, ...) __attribute__((format(printf, 1, 2)));

// "12.3 MB" for people; exact below 1000 bytes.
std::string BytesText(uint64_t bytes);

// "1 error", "0 errors", "2 errors" for the noun "error".
std::string CountText(uint64_t count, const char* noun);

// `one` for a count of 1, else `many`: for words that do not just take an "s".
const char* ByCount(uint64_t count, const char* one, const char* many);

// "camera" for 2, "desktop" for 3, "audio only" for 0, else "media type N".
std::string MediaTypeText(uint32_t media_type);

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_RECORD_TEXT_H_
