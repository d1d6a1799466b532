// Preloaded into a recording process, this library is the system's wall clock:
//   KX_CLOCK_STEPS  "seconds:step_us,..." each step is added once so many real seconds have passed
//   KX_CLOCK_RATE   the wall clock runs so many times as fast
// Other clocks, and with them all waiting, stay as they are.
#include <dlfcn.h>
#include <time.h>

#include <cstdint>
#include <cstdlib>

namespace {

using ClockGetTime = int (*)(clockid_t, timespec*);

ClockGetTime SystemClockGetTime() {
  static const auto function = reinterpret_cast<ClockGetTime>(dlsym(RTLD_NEXT, "clock_gettime"));
  return function;
}

int64_t ReadUs(clockid_t clock) {
  timespec now{};
  SystemClockGetTime()(clock, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

// The sum of the steps whose time has come.
int64_t StepsUs(int64_t elapsed_us) {
  const char* text = std::getenv("KX_CLOCK_STEPS");
  int64_t sum = 0;
  while (text != nullptr && *text != '\0') {
    char* end = nullptr;
    const double at_s = std::strtod(text, &end);
    if (end == text || *end != ':') break;
    const int64_t step_us = std::strtoll(end + 1, &end, 10);
    if (static_cast<double>(elapsed_us) >= at_s * 1e6) sum += step_us;
    text = *end == ',' ? end + 1 : end;
  }
  return sum;
}

int64_t Rate() {
  const char* text = std::getenv("KX_CLOCK_RATE");
  return text == nullptr ? 1 : std::strtoll(text, nullptr, 10);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* out) {
  if (clock != CLOCK_REALTIME) return SystemClockGetTime()(clock, out);
  static const int64_t start_wall_us = ReadUs(CLOCK_REALTIME);
  static const int64_t start_us = ReadUs(CLOCK_MONOTONIC);
  const int64_t elapsed_us = ReadUs(CLOCK_MONOTONIC) - start_us;
  const int64_t now_us = start_wall_us + elapsed_us * Rate() + StepsUs(elapsed_us);
  out->tv_sec = now_us / 1000000;
  out->tv_nsec = now_us % 1000000 * 1000;
  return 0;
}
