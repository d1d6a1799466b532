#include "kx_utility/log_line.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace kx_utility {
namespace {

constexpr int kSequenceDigits = 8;
constexpr size_t kMaxTimeLength = 400;  // The largest double has 309 digits before the point.

// Writes `value` right-aligned into `digits` characters, zeros in front.
char* WriteDigits(char* out, uint64_t value, int digits) {
  for (int i = digits - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  return out + digits;
}

char* WriteNumber(char* out, uint64_t value) { return std::to_chars(out, out + 20, value).ptr; }

char* WriteSequenceNumber(char* out, uint32_t value) {
  return value < 100000000 ? WriteDigits(out, value, kSequenceDigits) : WriteNumber(out, value);
}

// "%10.9f". Where the time is the double nearest to a whole number of microseconds, and so small
// that this double is less than half a nanosecond away from it, the digits are that number's.
char* WriteTime(char* out, double time_s) {
  constexpr double kMaxExactSeconds = 4e6;
  const double magnitude = std::fabs(time_s);
  const double microseconds = magnitude < kMaxExactSeconds ? std::nearbyint(magnitude * 1e6) : -1;
  if (microseconds / 1e6 != magnitude) {
    return out + std::snprintf(out, kMaxTimeLength, "%10.9f", time_s);
  }
  if (std::signbit(time_s)) *out++ = '-';
  const auto whole = static_cast<uint64_t>(microseconds);
  out = WriteNumber(out, whole / 1000000);
  *out++ = '.';
  out = WriteDigits(out, whole % 1000000, 6);
  return WriteDigits(out, 0, 3);
}

}  // namespace

size_t FormatLogLine(char* buffer, uint32_t sequence_number, double time_s, uint32_t thread_id,
                     const char* text, size_t text_length) {
  char* out = WriteSequenceNumber(buffer, sequence_number);
  *out++ = '\t';
  out = WriteTime(out, time_s);
  *out++ = '\t';
  *out++ = '[';
  out = WriteNumber(out, thread_id);
  *out++ = ']';
  *out++ = ' ';
  if (text_length != 0) std::memcpy(out, text, text_length);
  char* const end = out + text_length;
  while ((out = static_cast<char*>(std::memchr(out, '\n', end - out))) != nullptr) *out++ = ' ';
  out = end;
  *out++ = '\t';
  *out++ = '\n';
  *out = '\0';
  return static_cast<size_t>(out - buffer);
}

}  // namespace kx_utility
