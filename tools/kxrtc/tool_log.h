// What the library says while the tool works: kept for the tool's own messages.
#ifndef TOOLS_KXRTC_TOOL_LOG_H_
#define TOOLS_KXRTC_TOOL_LOG_H_

#include <mutex>
#include <string>

#include "kx_utility/logging.h"

namespace kxrtc_tool {

// Listens to the log of the process while it lives and passes everything on to the sink that was
// registered before.
// Threads: any; destroyed when nobody logs any more.
class ToolLog : public kx_utility::LogSink {
 public:
  ToolLog();
  ~ToolLog() override;

  // The text of the first error since the start or the last Clear(), i.e. the cause of the cascade
  // that follows it; empty without one.
  std::string first_error() const;
  void Clear();

  void OnLogMessage(const char* message, kx_utility::LoggingSeverity severity) override;
  void SetDumpScopeLog(bool enable) override;

 private:
  kx_utility::LogSink* const next_;
  mutable std::mutex lock_;
  std::string first_error_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TOOL_LOG_H_
