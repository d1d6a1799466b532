// Signals that end a program, as events that the main thread waits for.
#ifndef TOOLS_KXRTC_STOP_SIGNALS_H_
#define TOOLS_KXRTC_STOP_SIGNALS_H_

#include <chrono>
#include <csignal>

#include "tools/kxrtc/exit_status.h"

namespace kxrtc_tool {

// Each signal that would end this program and can be caught, except those of a crash. A signal that
// the program ignores from its start (nohup, a job in the background) stays ignored, and one that
// has a handler (a profiler) keeps it. Call it first before any handler is set.
const sigset_t& StopSet();

// Blocks these signals for the calling thread and all threads that it starts later, so create it
// before any thread. A write to standard output whose reader is gone counts as SIGPIPE. The
// destructor restores the signals and drops one that nobody waited for: the work is done by then.
// Threads: Wake() any; the rest the thread that made it. One object at a time.
class StopSignals {
 public:
  // Terminals, shells and timeout(1) send a signal twice. After this time a further signal ends a
  // program that does not stop; before it has no effect.
  static constexpr std::chrono::milliseconds kTimeToStop{2000};

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

  // The signal that asked to stop; 0: none so far.
  int signal_number() const { return signal_number_; }

  // The exit status of a program that the signal stopped.
  ExitStatus exit_status() const { return StoppedBy(signal_number_); }

 private:
  void Obey(int signal_number);
  void Unblock();

  int signal_fd_ = -1;
  int wake_fd_ = -1;
  int signal_number_ = 0;
  bool blocked_ = false;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_STOP_SIGNALS_H_
