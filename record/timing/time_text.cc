#include "record/timing/time_text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace kxrtc_host {

std::string SecondsText(int64_t time_us) {
  const uint64_t magnitude =
      time_us < 0 ? 0 - static_cast<uint64_t>(time_us) : static_cast<uint64_t>(time_us);
  char text[40];
  std::snprintf(text, sizeof(text), "%s%" PRIu64 ".%06" PRIu64 " s", time_us < 0 ? "-" : "",
                magnitude / 1000000, magnitude % 1000000);
  return text;
}

bool ParseSeconds(const std::string& text, int64_t* time_us) {
  constexpr int kDecimals = 6;
  size_t i = 0;
  const bool is_negative = !text.empty() && text[0] == '-';
  if (is_negative) ++i;
  int64_t value = 0;
  int digits = 0;
  int decimals = -1;  // After the point; -1: no point yet.
  for (; i < text.size(); ++i) {
    if (text[i] == '.' && decimals < 0) {
      decimals = 0;
      continue;
    }
    if (text[i] < '0' || text[i] > '9' || decimals == kDecimals) return false;
    if (__builtin_mul_overflow(value, int64_t{10}, &value) ||
        __builtin_add_overflow(value, int64_t{text[i] - '0'}, &value)) {
      return false;
    }
    ++digits;
    if (decimals >= 0) ++decimals;
  }
  if (digits == 0) return false;
  for (int k = decimals < 0 ? 0 : decimals; k < kDecimals; ++k) {
    if (__builtin_mul_overflow(value, int64_t{10}, &value)) return false;
  }
  *time_us = is_negative ? -value : value;
  return true;
}

std::string ClockText(int64_t time_us, int decimals) {
  constexpr int64_t kSecondUs = 1000000;
  constexpr size_t kMicroDigits = 6;
  const int64_t from_zero_us = std::max<int64_t>(time_us, 0);
  const int64_t seconds = from_zero_us / kSecondUs;
  char text[40];
  std::snprintf(text, sizeof(text), "%" PRId64 ":%02d:%02d.%06d", seconds / 3600,
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60),
                static_cast<int>(from_zero_us % kSecondUs));
  std::string clock = text;
  const size_t wanted = static_cast<size_t>(decimals);
  // Without decimals there is no point.
  clock.resize(clock.size() - kMicroDigits + wanted - (wanted == 0 ? 1 : 0));
  return clock;
}

}  // namespace kxrtc_host
