// The line of a log file for one statement.
// Threads: any.
#ifndef KX_UTILITY_LOG_LINE_H_
#define KX_UTILITY_LOG_LINE_H_

#include <cstddef>
#include <cstdint>

namespace kx_utility {

// Room that a line needs beside the statement's text, the terminating zero included.
constexpr size_t kLogLineOverhead = 1024;

// Writes the line "%08u\t%10.9f\t[%u] %s\t\n" of the four arguments and a terminating zero, with
// every newline of `text` turned into a space. `buffer` has room for text_length +
// kLogLineOverhead bytes. Returns the length without the zero. The bytes are those of snprintf in
// the C locale for every time; times that a microsecond clock gives are written without it.
size_t FormatLogLine(char* buffer, uint32_t sequence_number, double time_s, uint32_t thread_id,
                     const char* text, size_t text_length);

}  // namespace kx_utility

#endif  // KX_UTILITY_LOG_LINE_H_
