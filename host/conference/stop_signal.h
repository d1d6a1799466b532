// Ends the threads of one object: raised once, it wakes every thread that waits on it.
// Threads: any.
#ifndef HOST_CONFERENCE_STOP_SIGNAL_H_
#define HOST_CONFERENCE_STOP_SIGNAL_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kxrtc_host {

class StopSignal {
 public:
  void Raise() {
    {
      const std::lock_guard<std::mutex> guard(lock_);
      raised_.store(true, std::memory_order_release);
    }
    condition_.notify_all();
  }

  bool IsRaised() const { return raised_.load(std::memory_order_acquire); }

  // Waits until `deadline` or the signal; true when it was raised.
  bool WaitUntil(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> guard(lock_);
    return condition_.wait_until(guard, deadline, [this] { return IsRaised(); });
  }

 private:
  std::mutex lock_;
  std::condition_variable condition_;
  std::atomic<bool> raised_{false};
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_STOP_SIGNAL_H_
