// The library's log in a file: the options --log-file and --log-level of every subcommand.
#ifndef TOOLS_KXRTC_LOG_FILE_H_
#define TOOLS_KXRTC_LOG_FILE_H_

#include <string>
#include <thread>

#include "kx_utility/log_sink_imp.h"

namespace kxrtc_tool {

// While one is open the file loses nothing, however the program ends: Ctrl-C and SIGTERM write what
// is queued before they have their ordinary effect. A subcommand that waits for them itself
// (StopSignals) is not disturbed.
// Threads: the main thread, one object at a time.
class LogFile {
 public:
  LogFile() = default;
  ~LogFile();  // Calls Close().
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Empties or creates the file and takes the library's log from now on. False: it cannot.
  [[nodiscard]] bool Open(const std::string& path, kx_utility::LoggingSeverity min_severity);

  // Writes what is queued. Harmless when nothing is open.
  void Close();

 private:
  void WaitForSignal();

  kx_utility::LogSinkImp sink_;
  int pipe_[2] = {-1, -1};
  std::thread watcher_;
  bool open_ = false;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_LOG_FILE_H_
