// Keeps the first error that the library logs, for the messages of the tool.
#ifndef TOOLS_KXRTC_TOOL_LOG_H_
#define TOOLS_KXRTC_TOOL_LOG_H_

#include <mutex>
#include <string>

#include "kx_utility/logging.h"

namespace kxrtc_tool {

// Listens to the log of the process during its lifetime and passes everything on to the previous
// sink.
// Threads: any; destroy it when nothing logs any more.
class ToolLog : public kx_utility::LogSink {
 public:
  ToolLog();
  ~ToolLog() override;

  // The text of the first error: the cause of those that follow. Empty without an error.
  std::string first_error() const;

  void OnLogMessage(const char* message, kx_utility::LoggingSeverity severity) override;
  void SetDumpScopeLog(bool enable) override;

 private:
  kx_utility::LogSink* const next_;
  mutable std::mutex lock_;
  std::string first_error_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TOOL_LOG_H_
