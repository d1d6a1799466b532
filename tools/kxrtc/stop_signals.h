// Ctrl-C and SIGTERM as events that the main thread waits for instead of being interrupted by.
#ifndef TOOLS_KXRTC_STOP_SIGNALS_H_
#define TOOLS_KXRTC_STOP_SIGNALS_H_

#include <chrono>

#include "tools/kxrtc/exit_status.h"

namespace kxrtc_tool {

// Blocks both signals for the calling thread and all threads that it starts from now on, so make
// one before any thread. Restored on destruction, where a signal that nobody waited for is dropped:
// the work is done by then.
// Threads: Wake() any; the rest the thread that made it.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Ends one Wait(), the present or the next one.
  void Wake();

  // Waits for a signal, a Wake() or the time to pass, whichever is first.
  void Wait(std::chrono::milliseconds at_most);

  // Looks without waiting: true when a signal came so far.
  bool IsStopped();

  // The signal that asked to stop, 0 if none was seen so far. After the first one the signals have
  // their ordinary effect again: a second Ctrl-C ends a program that does not come to an end.
  int signal_number() const { return signal_number_; }

  // What a program ends with that the signal stopped.
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
