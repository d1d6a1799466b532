// One-line messages for the user, from any thread of the conference.
// Threads: any.
#ifndef HOST_CONFERENCE_NOTICES_H_
#define HOST_CONFERENCE_NOTICES_H_

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kxrtc_host {

class Notices {
 public:
  static constexpr size_t kMaxWaiting = 1000;  // More are dropped: a fault may repeat without end.

  void Add(std::string text) {
    const std::lock_guard<std::mutex> guard(lock_);
    if (texts_.size() < kMaxWaiting) texts_.push_back(std::move(text));
  }

  // Returns and removes all messages since the last call.
  std::vector<std::string> Take() {
    const std::lock_guard<std::mutex> guard(lock_);
    return std::exchange(texts_, {});
  }

 private:
  std::mutex lock_;
  std::vector<std::string> texts_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_NOTICES_H_
