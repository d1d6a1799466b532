#include "kx_utility/event.h"

#include <chrono>

namespace kx_utility {

Event::Event(bool manual_reset, bool initially_signaled)
    : manual_reset_(manual_reset), signaled_(initially_signaled) {}

void Event::Set() {
  std::lock_guard<std::mutex> guard(lock_);
  signaled_ = true;
  condition_.notify_all();
}

void Event::Reset() {
  std::lock_guard<std::mutex> guard(lock_);
  signaled_ = false;
}

bool Event::Wait(int ms) {
  std::unique_lock<std::mutex> guard(lock_);
  const auto is_signaled = [this] { return signaled_; };
  if (ms == -1) {
    condition_.wait(guard, is_signaled);
  } else {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    if (!condition_.wait_until(guard, deadline, is_signaled)) return false;
  }
  if (!manual_reset_) signaled_ = false;
  return true;
}

void LightEvent::Wait(int ms, bool& timed_out) {
  std::unique_lock<std::mutex> guard(lock_);
  if (ms == -1) {
    condition_.wait(guard);
  } else {
    timed_out =
        condition_.wait_for(guard, std::chrono::milliseconds(ms)) == std::cv_status::timeout;
  }
}

void LightEvent::NotifyOne() { condition_.notify_one(); }

void LightEvent::NotifyAll() { condition_.notify_all(); }

}  // namespace kx_utility
