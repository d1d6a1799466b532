#include "record/speakers/web_vtt.h"

#include <cinttypes>

#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kUsPerMs = 1000;

// Two digits at least of hours, all others exactly.
std::string Timestamp(int64_t ms) {
  return Text("%02" PRId64 ":%02d:%02d.%03d", ms / 3600000, static_cast<int>(ms / 60000 % 60),
              static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
}

}  // namespace

std::string WebVttCueTimes(int64_t start_us, int64_t end_us) {
  return Timestamp(start_us / kUsPerMs) + " --> " + Timestamp(end_us / kUsPerMs);
}

bool HasWebVttDuration(int64_t start_us, int64_t end_us) {
  return end_us / kUsPerMs > start_us / kUsPerMs;
}

}  // namespace kxrtc_host
