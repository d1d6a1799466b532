// The library's log in a file: the options --log-file and --log-level of every subcommand.
#ifndef TOOLS_KXRTC_LOG_FILE_H_
#define TOOLS_KXRTC_LOG_FILE_H_

#include <optional>
#include <string>
#include <thread>

#include "kx_utility/log_sink_imp.h"

namespace kxrtc_tool {

// While it is open, the file is complete even after a signal that ends the program (StopSet()): it
// writes the queue before its normal effect. This does not affect a subcommand that waits for the
// signals itself (StopSignals).
// Threads: the main thread, one object at a time.
class LogFile {
 public:
  LogFile() = default;
  ~LogFile();  // Calls Close().
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Empties or creates the file. It gets the library's log from now on. False: not possible.
  [[nodiscard]] bool Open(const std::string& path, kx_utility::LoggingSeverity min_severity);

  // Writes the queue and closes. False: a part of the log could not be written. Nothing open: true.
  bool Close();

  const std::string& path() const { return path_; }

 private:
  void WaitForSignal();

  std::string path_;
  std::optional<kx_utility::LogSinkImp> sink_;  // Made by Open(): its queue is 4 MiB.
  int pipe_[2] = {-1, -1};
  std::thread watcher_;
  bool open_ = false;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_LOG_FILE_H_
