#include "host/record/text.h"

#include <cstdarg>
#include <cstdio>
#include <limits>

namespace kxrtc_host {

std::string Text(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text;
  if (length > 0) {
    text.resize(static_cast<size_t>(length) + 1);
    std::vsnprintf(&text[0], text.size(), format, again);
    text.pop_back();
  }
  va_end(again);
  return text;
}

std::string SecondsText(int64_t time_us) {
  const uint64_t magnitude =
      time_us < 0 ? 0 - static_cast<uint64_t>(time_us) : static_cast<uint64_t>(time_us);
  return Text("%s%llu.%06llu s", time_us < 0 ? "-" : "",
              static_cast<unsigned long long>(magnitude / 1000000),
              static_cast<unsigned long long>(magnitude % 1000000));
}

bool ParseSeconds(const std::string& text, int64_t* time_us) {
  constexpr int kDecimals = 6;
  size_t i = 0;
  const bool is_negative = !text.empty() && text[0] == '-';
  if (is_negative) ++i;
  int64_t value = 0;
  int digits = 0;
  int decimals = -1;  // Behind the point, which has not come yet.
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

std::string BytesText(uint64_t bytes) {
  if (bytes < 1000) return Text("%llu B", static_cast<unsigned long long>(bytes));
  const char* const units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
  double value = static_cast<double>(bytes) / 1000;
  size_t unit = 0;
  while (value >= 999.95 && unit + 1 < sizeof(units) / sizeof(units[0])) {
    value /= 1000;
    ++unit;
  }
  return Text("%.1f %s", value, units[unit]);
}

std::string MediaTypeText(uint32_t media_type) {
  switch (media_type) {
    case 0:
      return "audio only";
    case 2:
      return "camera";
    case 3:
      return "desktop";
    default:
      return Text("media type %u", media_type);
  }
}

int64_t SaturatedAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

int64_t SaturatedSubtract(int64_t a, int64_t b) {
  int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return b < 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

}  // namespace kxrtc_host
