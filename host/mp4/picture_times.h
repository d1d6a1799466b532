// Gives pictures that are coded in one order and shown in another their times in the file.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_MP4_PICTURE_TIMES_H_
#define HOST_MP4_PICTURE_TIMES_H_

#include <cstdint>
#include <deque>

#include "host/mp4/mp4_muxer.h"

namespace kxrtc_host {

// The recorder notes when a picture came, in coded order. The n-th picture that is shown gets the
// n-th of these times. A picture is decoded at the time of the next one that is still to be shown,
// and before it if others have to be decoded first. So nothing has to be moved, and pictures that
// are shown as they are coded keep their times.
class PictureTimes {
 public:
  // The next picture in coded order came at `time_us`, which is later than the one before. At the
  // end: that of the last picture.
  void Add(int64_t time_us) { times_.push_back(time_us); }

  // The next picture in display order; counted from 0 in coded order.
  void Show(uint64_t picture) { shown_.push_back(picture); }

  // The times of the next picture in coded order. False: they are not known yet.
  [[nodiscard]] bool Next(Mp4SampleTimes* times);

  // The first time that no picture has got.
  int64_t first_open_us() const { return times_.empty() ? 0 : times_.front(); }

 private:
  // From the first place in display order on whose picture Next() has not returned.
  std::deque<int64_t> times_;
  std::deque<uint64_t> shown_;
  uint64_t next_ = 0;
  int64_t last_decode_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_PICTURE_TIMES_H_
