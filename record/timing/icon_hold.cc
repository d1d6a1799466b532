#include "record/timing/icon_hold.h"

#include <algorithm>

namespace kxrtc_host {

bool IconHold::HoldsIcon(int64_t time_us) {
  if (shows_icon_ && pictures_ == ClipPictures::kAll) return false;
  if (!is_waiting_) start_us_ = time_us;
  is_waiting_ = true;
  return true;
}

void IconHold::ShowIcon() {
  is_waiting_ = false;
  shows_icon_ = has_shown_ = true;
}

int64_t IconHold::ShownFrom(int64_t time_us) const {
  return pictures_ == ClipPictures::kAll ? time_us
                                         : std::max(time_us, recorded_us_ + kShortestPictureUs);
}

int64_t IconHold::ShowRecorded(int64_t time_us) {
  const int64_t shown_us = is_waiting_ && !has_shown_ ? start_us_ : time_us;
  is_waiting_ = shows_icon_ = false;
  has_shown_ = true;
  recorded_us_ = shown_us;
  return shown_us;
}

bool IconHold::ShowsAtEnd(int64_t end_us) const {
  return is_waiting_ && (!has_shown_ || IsDue(end_us));
}

}  // namespace kxrtc_host
