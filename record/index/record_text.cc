#include "record/index/record_text.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "kxrtc/recording/peer_connection_conductor.h"

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

std::string BytesText(uint64_t bytes) {
  if (bytes < 1000) return Text("%" PRIu64 " B", bytes);
  const char* const units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
  double value = static_cast<double>(bytes) / 1000;
  size_t unit = 0;
  while (value >= 999.95 && unit + 1 < sizeof(units) / sizeof(units[0])) {
    value /= 1000;
    ++unit;
  }
  return Text("%.1f %s", value, units[unit]);
}

std::string CountText(uint64_t count, const char* noun) {
  return Text("%" PRIu64 " %s%s", count, noun, ByCount(count, "", "s"));
}

const char* ByCount(uint64_t count, const char* one, const char* many) {
  return count == 1 ? one : many;
}

std::string MediaTypeText(uint32_t media_type) {
  switch (media_type) {
    case kxrtc::PeerConnectionConductor::kNoVideo:
      return "audio only";
    case kxrtc::PeerConnectionConductor::kCamera:
      return "camera";
    case kxrtc::PeerConnectionConductor::kDesktop:
      return "desktop";
    default:
      return Text("media type %u", media_type);
  }
}

}  // namespace kxrtc_host
