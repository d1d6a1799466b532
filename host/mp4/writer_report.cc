#include "host/mp4/writer_report.h"

#include <cerrno>

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

bool WriterReport::FailFile(const OutputFile& file) {
  const bool stopped = file.error_number() == ECANCELED;
  return Fail(stopped ? WriterFailure::kDiscarded : WriterFailure::kOutput, file.error_text());
}

void WriterReport::Warn(const std::string& text) {
  LogFormatted(kx_utility::LS_WARNING, Here(), "%s", text.c_str());
  status.warnings.push_back(text);
}

int64_t WriterReport::Raised(int64_t time, int64_t last) {
  if (time > last) return time;
  ++status.timestamps_raised;
  return last + 1;
}

}  // namespace kxrtc_host
