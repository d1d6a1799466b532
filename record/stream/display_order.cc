#include "record/stream/display_order.h"

#include <algorithm>

namespace kxrtc_host {

void DisplayOrder::Push(const std::optional<PictureOrder>& order) {
  const uint64_t picture = pushed_++;
  if (!order || order->begins_sequence) {
    Flush();
    last_count_.reset();
    learned_waiting_ = 0;
  }
  if (!order) {
    ++misplaced_;
    shown_.push_back(picture);
    return;
  }
  if (last_count_ && order->count < *last_count_) {
    ++misplaced_;
    learned_waiting_ = std::max(order->max_waiting, learned_waiting_) + 1;
  }
  waiting_.push_back({order->count, picture});
  const uint32_t limit = std::min(std::max(order->max_waiting, learned_waiting_), kMaxWaiting);
  while (waiting_.size() > limit) ShowFirst();
}

void DisplayOrder::ShowFirst() {
  const auto first =
      std::min_element(waiting_.begin(), waiting_.end(),
                       [](const Waiting& a, const Waiting& b) { return a.count < b.count; });
  shown_.push_back(first->picture);
  last_count_ = first->count;
  waiting_.erase(first);
}

void DisplayOrder::Flush() {
  while (!waiting_.empty()) ShowFirst();
}

bool DisplayOrder::Pop(uint64_t* picture) {
  if (shown_.empty()) return false;
  *picture = shown_.front();
  shown_.pop_front();
  return true;
}

}  // namespace kxrtc_host
