#include "kx_utility/failure_log.h"

#include <cstdarg>

#include "kx_utility/BaseUtility.h"

namespace kx_utility {

bool FailedIn(const char* step, CallSite site) {
  LogFormatted(LS_ERROR, site, "failed in %s", step);
  return false;
}

bool Failed(const char* text, CallSite site) {
  LogFormatted(LS_ERROR, site, "%s", text);
  return false;
}

void LogFormatted(LoggingSeverity severity, CallSite site, const char* format, ...) {
  char text[1024] = {};
  va_list arguments;
  va_start(arguments, format);
  (void)GenerateDebugLogStringV(text, sizeof(text), format,
                                arguments);  // A cut text is logged too.
  va_end(arguments);
  LogMessage(site.file, site.function, site.line, severity) << text;
}

}  // namespace kx_utility
