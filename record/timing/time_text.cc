#include "record/timing/time_text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace kxrtc_host {
namespace {

// Seconds with up to six decimals.
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

}  // namespace

std::string SecondsText(int64_t time_us) {
  const uint64_t magnitude =
      time_us < 0 ? 0 - static_cast<uint64_t>(time_us) : static_cast<uint64_t>(time_us);
  char text[40];
  std::snprintf(text, sizeof(text), "%s%" PRIu64 ".%06" PRIu64 " s", time_us < 0 ? "-" : "",
                magnitude / 1000000, magnitude % 1000000);
  return text;
}

bool ParseTime(const std::string& text, int64_t* time_us) {
  const size_t last_colon = text.rfind(':');
  if (last_colon == std::string::npos) {
    const bool has_unit = text.size() > 2 && text.compare(text.size() - 2, 2, " s") == 0;
    return ParseSeconds(has_unit ? text.substr(0, text.size() - 2) : text, time_us);
  }
  unsigned hours = 0;
  unsigned minutes = 0;
  char end = '\0';
  const std::string front = text.substr(0, last_colon);
  const std::string seconds = text.substr(last_colon + 1);
  const bool has_hours = std::sscanf(front.c_str(), "%5u:%2u%c", &hours, &minutes, &end) == 2;
  const bool has_minutes = has_hours || std::sscanf(front.c_str(), "%5u%c", &minutes, &end) == 1;
  const bool is_plain = front.find_first_not_of("0123456789:") == std::string::npos;
  const bool is_below_a_minute = seconds.size() >= 2 && seconds[0] >= '0' && seconds[0] <= '5' &&
                                 (seconds.size() == 2 || seconds[2] == '.');
  if (!has_minutes || !is_plain || !is_below_a_minute || (has_hours && minutes > 59)) return false;
  if (!ParseSeconds(seconds, time_us)) return false;
  if (!has_hours) hours = 0;  // The first number was read as hours.
  *time_us += (int64_t{hours} * 60 + minutes) * 60 * 1000000;
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
