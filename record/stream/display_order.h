// Brings pictures from the order in which they are coded to the order in which they are shown.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_DISPLAY_ORDER_H_
#define RECORD_STREAM_DISPLAY_ORDER_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "record/stream/picture_order.h"

namespace kxrtc_host {

// Pictures are counted from 0 in coded order. Like a decoder, a picture waits while an earlier one
// may follow (ITU-T H.264, C.4.5.3).
class DisplayOrder {
 public:
  // At most so many pictures wait, whatever the stream says.
  static constexpr uint32_t kMaxWaiting = 2 * kMaxReorderFrames + 1;

  // The next picture in coded order. Without an order it is shown behind all before it.
  void Push(const std::optional<PictureOrder>& order);

  // No picture that follows is shown before those pushed.
  void Flush();

  // Takes the next picture in display order. False: it is not known yet.
  [[nodiscard]] bool Pop(uint64_t* picture);

  uint64_t pushed() const { return pushed_; }

  // Pictures whose place could not be found: they have no order, or come later than their stream
  // allows.
  uint64_t misplaced() const { return misplaced_; }

 private:
  struct Waiting {
    int64_t count;
    uint64_t picture;
  };

  void ShowFirst();

  uint64_t pushed_ = 0;
  std::vector<Waiting> waiting_;
  std::deque<uint64_t> shown_;         // Not taken yet.
  std::optional<int64_t> last_count_;  // Of the last shown one of this sequence.
  uint32_t learned_waiting_ = 0;       // More than the stream says, in this sequence.
  uint64_t misplaced_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_DISPLAY_ORDER_H_
