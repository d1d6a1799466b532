#include "host/conference/paced_queue.h"

#include <utility>

namespace kxrtc_host {

bool PacedQueue::Push(VideoFrame* frame) {
  {
    const std::lock_guard<std::mutex> guard(lock_);
    const size_t size = frame->data.size();
    if (frames_.size() >= kMaxFrames || (bytes_ > 0 && bytes_ + size > kMaxBytes)) return false;
    bytes_ += size;
    frames_.push_back(std::move(*frame));
  }
  changed_.notify_one();
  return true;
}

bool PacedQueue::PopWhenDue(VideoFrame* frame) {
  std::unique_lock<std::mutex> guard(lock_);
  while (!closed_) {
    if (frames_.empty()) {
      changed_.wait(guard);
      continue;
    }
    const auto due = clock_->At(frames_.front().time_us);
    if (std::chrono::steady_clock::now() < due) {
      changed_.wait_until(guard, due);
      continue;
    }
    *frame = std::move(frames_.front());
    frames_.pop_front();
    bytes_ -= frame->data.size();
    return true;
  }
  return false;
}

void PacedQueue::Close() {
  {
    const std::lock_guard<std::mutex> guard(lock_);
    closed_ = true;
  }
  changed_.notify_all();
}

bool PacedQueue::IsEmpty() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return frames_.empty();
}

}  // namespace kxrtc_host
