// Places the times of a source on the conference's clock.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_SOURCE_CLOCK_H_
#define HOST_CONFERENCE_SOURCE_CLOCK_H_

#include <cstdint>

#include "record/timing/icon_hold.h"

namespace kxrtc_host {

// Everything is sent kPlayoutDelayUs later than its own time. The same for all sources, so that
// they stay in step.

// A file: starts at a given time.
class FileClock {
 public:
  explicit FileClock(int64_t origin_us = 0) : origin_us_(origin_us) {}
  int64_t DueAt(int64_t media_us) const { return origin_us_ + media_us + kPlayoutDelayUs; }

 private:
  int64_t origin_us_;
};

// A live stream: the fastest packets give the offset of its clock, since delay only adds. The
// estimate forgets slowly, so that it also follows a sender with a slow clock. It starts again when
// the sender's time jumps or when everything is late for some time.
class LiveClock {
 public:
  static constexpr int64_t kJumpUs = 3000000;
  static constexpr int64_t kForgetPerSecondUs = 200;
  static constexpr int64_t kMaxLateUs = 1000000;

  // When the media of time `media_us`, which arrived at `arrival_us`, is due.
  int64_t DueAt(int64_t media_us, int64_t arrival_us);

 private:
  bool started_ = false;
  int64_t offset_us_ = 0;        // Arrival less media time of the fastest packet.
  int64_t last_arrival_us_ = 0;  // For the forgetting.
  int64_t late_since_us_ = -1;   // Arrival of the first of the current late packets; -1: none.
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_SOURCE_CLOCK_H_
