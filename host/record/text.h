// Small text helpers of the record tools.
// Threads: any.
#ifndef HOST_RECORD_TEXT_H_
#define HOST_RECORD_TEXT_H_

#include <cstdint>
#include <string>

namespace kxrtc_host {

// printf into a string of any length.
std::string Text(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Seconds with microseconds, e.g. "-0.000001 s", exact for every value.
std::string SecondsText(int64_t time_us);

// Reads seconds with up to six decimals, e.g. "12.5" or "-3", exactly. False for anything else.
[[nodiscard]] bool ParseSeconds(const std::string& text, int64_t* time_us);

// "12.3 MB" for people; exact below 1000 bytes.
std::string BytesText(uint64_t bytes);

// "camera" for 2, "desktop" for 3, "audio only" for 0, else "media type N".
std::string MediaTypeText(uint32_t media_type);

// The sum, kept at the end of the range where it would leave it.
int64_t SaturatedAdd(int64_t a, int64_t b);
int64_t SaturatedSubtract(int64_t a, int64_t b);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_TEXT_H_
