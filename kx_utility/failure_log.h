// One-line reporting: the caller's place is taken by default arguments, so no macro is needed.
//
//   #include "kx_utility/file.h"
//   if (!File::Open("SpeakeRecord.index").IsOpen()) return FailedIn("Open");
//
// Threads: any.
#ifndef KX_UTILITY_FAILURE_LOG_H_
#define KX_UTILITY_FAILURE_LOG_H_

#include <new>

#include "kx_utility/export.h"
#include "kx_utility/logging.h"

namespace kx_utility {

// The place of a log statement. In a lambda the function is "operator()": a queued lambda therefore
// calls a named member, and the member logs.
struct CallSite {
  const char* file;
  const char* function;
  int line;
};

constexpr CallSite Here(const char* file = __builtin_FILE(),
                        const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  return {file, function, line};
}

// Logs LS_ERROR "failed in <step>"; always false.
KX_EXPORT bool FailedIn(const char* step, CallSite site = Here());

// Logs LS_ERROR `text`; always false.
KX_EXPORT bool Failed(const char* text, CallSite site = Here());

// Logged when an operation was given up because there was no memory for it.
inline constexpr char kOutOfMemory[] = "out of memory";

// Runs `step`, which returns bool. If it throws because memory ran out, logs that and returns
// false.
template <typename Step>
bool Succeeds(const Step& step, CallSite site = Here()) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    return Failed(kOutOfMemory, site);
  }
}

// Formats into a 1024-byte buffer with GenerateDebugLogString and logs the text.
KX_EXPORT void LogFormatted(LoggingSeverity severity, CallSite site, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace kx_utility

#endif  // KX_UTILITY_FAILURE_LOG_H_
