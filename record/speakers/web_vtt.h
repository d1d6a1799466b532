// What every WebVTT file has (https://www.w3.org/TR/webvtt1/).
// Threads: any.
#ifndef RECORD_SPEAKERS_WEB_VTT_H_
#define RECORD_SPEAKERS_WEB_VTT_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace kxrtc_host {

inline constexpr std::string_view kWebVttSignature = "WEBVTT";

// The line of a cue from `start_us` to `end_us`, both cut to milliseconds, without its end.
std::string WebVttCueTimes(int64_t start_us, int64_t end_us);

// True when a cue of these times shows for a millisecond at least.
bool HasWebVttDuration(int64_t start_us, int64_t end_us);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_WEB_VTT_H_
