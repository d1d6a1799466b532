// Pictures that wait until they are sent.
// Threads: one pushes, one pops, any other closes.
#ifndef HOST_CONFERENCE_PACED_QUEUE_H_
#define HOST_CONFERENCE_PACED_QUEUE_H_

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

#include "host/conference/conference_clock.h"
#include "host/conference/video_normalizer.h"

namespace kxrtc_host {

class PacedQueue {
 public:
  static constexpr size_t kMaxFrames = 2048;
  static constexpr size_t kMaxBytes = 64 << 20;

  // `clock` outlives the object.
  explicit PacedQueue(const ConferenceClock* clock) : clock_(clock) {}

  // Adds a frame that is sent at its time_us, but not before the frame ahead of it. False while the
  // queue is full; `frame` is then unchanged.
  [[nodiscard]] bool Push(VideoFrame* frame);

  // Waits until the first frame is due and removes it. False when the queue is closed.
  [[nodiscard]] bool PopWhenDue(VideoFrame* frame);

  void Close();
  bool IsEmpty() const;

 private:
  const ConferenceClock* const clock_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::deque<VideoFrame> frames_;
  size_t bytes_ = 0;
  bool closed_ = false;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_PACED_QUEUE_H_
