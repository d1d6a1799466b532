// Two ways for threads to wait for each other.
#ifndef KX_UTILITY_EVENT_H_
#define KX_UTILITY_EVENT_H_

#include <condition_variable>
#include <mutex>

#include "kx_utility/export.h"

namespace kx_utility {

// An event that remembers that it was set. Threads: any.
class KX_EXPORT Event {
 public:
  // An auto-reset event releases one waiter per Set(); a manual-reset one stays signalled.
  Event(bool manual_reset, bool initially_signaled);

  void Set();
  void Reset();

  // True when the event is or becomes signalled within `ms` milliseconds; -1 waits without limit.
  [[nodiscard]] bool Wait(int ms);

 private:
  std::mutex lock_;
  std::condition_variable condition_;
  const bool manual_reset_;
  bool signaled_;
};

// A condition without state: a notification without a waiting thread is lost, and a wait may end
// without a notification. Use it only where that is harmless. Threads: any.
class KX_EXPORT LightEvent {
 public:
  // Waits once, for at most `ms` milliseconds, and sets `timed_out` to whether the time ran out.
  // -1 waits without limit and leaves `timed_out` untouched.
  void Wait(int ms, bool& timed_out);

  void NotifyOne();
  void NotifyAll();

 private:
  std::mutex lock_;
  std::condition_variable condition_;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_EVENT_H_
