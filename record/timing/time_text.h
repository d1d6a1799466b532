// Times as people and programs read and write them.
// Threads: any.
#ifndef RECORD_TIMING_TIME_TEXT_H_
#define RECORD_TIMING_TIME_TEXT_H_

#include <cstdint>
#include <string>

namespace kxrtc_host {

// Seconds with microseconds, e.g. "-0.000001 s", exact for every value.
std::string SecondsText(int64_t time_us);

// Reads a time exactly: seconds with up to six decimals, or minutes or hours before them, as the
// two other functions write it: "12.5", "-3", "12.500000 s", "1:02.5", "1:02:03.456". False for
// anything else.
[[nodiscard]] bool ParseTime(const std::string& text, int64_t* time_us);

// `time_us` as hours, minutes and seconds with 0 to 6 decimals, cut, not rounded: "1:02:03.456"
// with 3. Negative values count as 0.
std::string ClockText(int64_t time_us, int decimals);

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_TIME_TEXT_H_
