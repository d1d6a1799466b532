// Ctrl-C and SIGTERM as events that the main thread waits for.
#ifndef TOOLS_KXRTC_STOP_SIGNALS_H_
#define TOOLS_KXRTC_STOP_SIGNALS_H_

#include <chrono>

#include "tools/kxrtc/exit_status.h"

namespace kxrtc_tool {

// Blocks both signals for the calling thread and all threads that it starts later, so create it
// before any thread. The destructor restores the signals and drops one that nobody waited for: the
// work is done by then.
// Threads: Wake() any; the rest the thread that made it.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Ends one Wait(), the current or the next one.
  void Wake();

  // Waits for a signal, a Wake() or the timeout, whichever comes first.
  void Wait(std::chrono::milliseconds at_most);

  // True when a signal has come. Does not wait.
  bool IsStopped();

  // The signal that asked to stop; 0: none so far. After the first one the signals have their
  // normal effect again: a second Ctrl-C ends a program that does not stop.
  int signal_number() const { return signal_number_; }

  // The exit status of a program that the signal stopped.
  ExitStatus exit_status() const;

 private:
  void RestoreMask();

  int signal_fd_ = -1;
  int wake_fd_ = -1;
  int signal_number_ = 0;
  bool blocked_ = false;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_STOP_SIGNALS_H_
