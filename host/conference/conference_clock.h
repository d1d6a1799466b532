// The time of the conference: microseconds on a steady clock since the object was made.
// Threads: any.
#ifndef HOST_CONFERENCE_CONFERENCE_CLOCK_H_
#define HOST_CONFERENCE_CONFERENCE_CLOCK_H_

#include <chrono>
#include <cstdint>

namespace kxrtc_host {

class ConferenceClock {
 public:
  int64_t NowUs() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start_)
        .count();
  }

  // `time_us` as a time point, for waiting.
  std::chrono::steady_clock::time_point At(int64_t time_us) const {
    return start_ + std::chrono::microseconds(time_us);
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_CONFERENCE_CLOCK_H_
