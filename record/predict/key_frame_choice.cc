#include "record/predict/key_frame_choice.h"

#include <algorithm>
#include <cstdlib>

namespace kxrtc_host {

void KeyFrameChoice::Add(int64_t output_us, const kxrtc::VideoDataRecord& data) {
  if (!kept_.empty() && output_us - kept_.back().output_us < gap_us_) return;
  if (kept_.size() == kMaxKept) Thin();
  kept_.push_back({output_us, data, rotation_});
}

// Removes at least about half of them, evenly in time.
void KeyFrameChoice::Thin() {
  const int64_t span_us = kept_.back().output_us - kept_.front().output_us;
  gap_us_ = std::max<int64_t>(1, span_us / static_cast<int64_t>(kMaxKept / 2));
  size_t count = 0;
  for (const KeyFramePlace& frame : kept_) {
    if (count > 0 && frame.output_us - kept_[count - 1].output_us < gap_us_) continue;
    kept_[count++] = frame;
  }
  kept_.resize(count);
}

std::vector<KeyFramePlace> KeyFrameChoice::Spread(size_t count, int64_t duration_us) const {
  std::vector<KeyFramePlace> chosen;
  if (count == 0) return chosen;
  const int64_t slice_us = std::max<int64_t>(1, duration_us / static_cast<int64_t>(count));
  const auto slice_of = [&](const KeyFramePlace& frame) {
    return std::clamp<int64_t>(frame.output_us / slice_us, 0, static_cast<int64_t>(count) - 1);
  };
  const auto distance = [&](const KeyFramePlace& frame) {
    return std::abs(frame.output_us - slice_of(frame) * slice_us - slice_us / 2);
  };
  for (const KeyFramePlace& frame : kept_) {
    if (chosen.empty() || slice_of(frame) != slice_of(chosen.back())) {
      chosen.push_back(frame);
    } else if (distance(frame) < distance(chosen.back())) {
      chosen.back() = frame;
    }
  }
  return chosen;
}

}  // namespace kxrtc_host
