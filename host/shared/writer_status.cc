#include "host/shared/writer_status.h"

#include <cstdio>

#include "kx_utility/failure_log.h"

namespace kxrtc_host {

using kx_utility::Here;
using kx_utility::LogFormatted;

bool WriterReport::Fail(WriterFailure failure, const std::string& text) {
  if (failed()) return false;
  LogFormatted(kx_utility::LS_ERROR, Here(), "%s", text.c_str());
  status.failure = failure;
  status.failure_text = text;
  return false;
}

void WriterReport::Warn(const std::string& text) {
  LogFormatted(kx_utility::LS_WARNING, Here(), "%s", text.c_str());
  status.warnings.push_back(text);
}

std::string TimeText(int64_t time_us) {
  const long long ms = (time_us < 0 ? 0 : time_us) / 1000;
  char text[40];
  std::snprintf(text, sizeof(text), "%lld:%02lld:%02lld.%03lld", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text;
}

}  // namespace kxrtc_host
