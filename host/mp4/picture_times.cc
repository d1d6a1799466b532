#include "host/mp4/picture_times.h"

#include <algorithm>

namespace kxrtc_host {

bool PictureTimes::Next(Mp4SampleTimes* times) {
  const auto place =
      static_cast<size_t>(std::find(shown_.begin(), shown_.end(), next_) - shown_.begin());
  if (place == shown_.size() || place + 1 >= times_.size()) return false;
  // So many pictures are decoded up to the time of the first open place.
  const auto shares = static_cast<int64_t>(shown_.front() - next_ + 1);
  const bool is_first = next_ == 0;
  const int64_t room_us = is_first ? 0 : times_.front() - last_decode_us_;
  times->decode_time = is_first ? times_.front() - (shares - 1)
                                : last_decode_us_ + std::max<int64_t>(1, room_us / shares);
  times->presentation_time = std::max(times_[place], times->decode_time);
  times->duration = times_[place + 1] - times_[place];
  last_decode_us_ = times->decode_time;
  ++next_;
  while (!shown_.empty() && shown_.front() < next_) {
    shown_.pop_front();
    times_.pop_front();
  }
  return true;
}

}  // namespace kxrtc_host
