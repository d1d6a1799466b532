#include "record/predict/key_frame_choice.h"

#include <algorithm>
#include <cstdlib>

namespace kxrtc_host {
namespace {

int64_t SliceDuration(size_t count, int64_t duration_us) {
  return std::max<int64_t>(1, duration_us / static_cast<int64_t>(count));
}

}  // namespace

size_t SliceOf(int64_t time_us, size_t count, int64_t duration_us) {
  return static_cast<size_t>(std::clamp<int64_t>(time_us / SliceDuration(count, duration_us), 0,
                                                 static_cast<int64_t>(count) - 1));
}

int64_t SliceStart(size_t slice, size_t count, int64_t duration_us) {
  return static_cast<int64_t>(slice) * SliceDuration(count, duration_us);
}

std::vector<size_t> SpreadOver(const std::vector<int64_t>& times_us, size_t count,
                               int64_t duration_us) {
  std::vector<size_t> chosen;
  if (count == 0) return chosen;
  const int64_t slice_us = SliceDuration(count, duration_us);
  const auto slice_of = [&](size_t place) { return SliceOf(times_us[place], count, duration_us); };
  const auto distance = [&](size_t place) {
    const int64_t start_us = SliceStart(slice_of(place), count, duration_us);
    return std::abs(times_us[place] - start_us - slice_us / 2);
  };
  for (size_t place = 0; place < times_us.size(); ++place) {
    if (chosen.empty() || slice_of(place) != slice_of(chosen.back())) {
      chosen.push_back(place);
    } else if (distance(place) < distance(chosen.back())) {
      chosen.back() = place;
    }
  }
  return chosen;
}

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
  std::vector<int64_t> times_us;
  for (const KeyFramePlace& frame : kept_) times_us.push_back(frame.output_us);
  std::vector<KeyFramePlace> chosen;
  for (const size_t place : SpreadOver(times_us, count, duration_us)) {
    chosen.push_back(kept_[place]);
  }
  return chosen;
}

}  // namespace kxrtc_host
