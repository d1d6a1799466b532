#include "record/parts/kept_pictures.h"

#include <algorithm>

namespace kxrtc_host {

KeptPictures::KeptPictures(const KeptParts* parts) : parts_(parts) {
  if (!parts->parts().empty()) from_us_ = parts->parts().front().whole.from_us;
  start_us_ = parts->lead_in_us().value_or(from_us_);
}

bool KeptPictures::IsInFile(int64_t whole_us) const {
  return parts_->Keeps(whole_us) || (whole_us >= start_us_ && whole_us < from_us_);
}

int64_t KeptPictures::FileTime(int64_t whole_us) const {
  return whole_us < from_us_ ? whole_us - from_us_ : parts_->FileTime(whole_us);
}

void KeptPictures::EndWait(int64_t file_us) {
  if (wait_us_ && file_us - *wait_us_ >= kNoticeableWaitUs) {
    ++waits_;
    if (file_us - *wait_us_ > longest_wait_.duration_us) {
      longest_wait_ = {*wait_us_, file_us - *wait_us_};
    }
  }
  wait_us_.reset();
}

std::optional<KeptPictures::Times> KeptPictures::Next(const Times& whole, bool is_key) {
  if (parts_->is_whole()) {
    has_picture_ = true;
    end_us_ = std::max(end_us_, whole.presentation_us + whole.duration_us);
    return whole;
  }
  if (!IsInFile(whole.presentation_us) || (waits_for_key_ && !is_key)) {
    waits_for_key_ = true;
    if (!wait_us_) wait_us_ = parts_->FileTime(whole.presentation_us);
    return std::nullopt;
  }
  waits_for_key_ = false;
  const int64_t until_us = FileTime(whole.presentation_us + whole.duration_us);
  Times times;
  times.presentation_us = FileTime(whole.presentation_us);
  // Players that start between two pictures move all of them.
  if (times.presentation_us < 0 && until_us > 0) times.presentation_us = 0;
  times.decode_us = times.presentation_us - (whole.presentation_us - whole.decode_us);
  if (has_picture_) times.decode_us = std::max(times.decode_us, last_decode_us_ + 1);
  times.presentation_us = std::max(times.presentation_us, times.decode_us);
  times.duration_us = std::max<int64_t>(until_us - times.presentation_us, 1);
  EndWait(times.presentation_us);
  if (!has_picture_) first_us_ = std::min<int64_t>(times.presentation_us, 0);
  has_picture_ = true;
  last_decode_us_ = times.decode_us;
  end_us_ = std::max(end_us_, times.presentation_us + times.duration_us);
  return times;
}

void KeptPictures::Finish(int64_t end_us) { EndWait(end_us); }

}  // namespace kxrtc_host
