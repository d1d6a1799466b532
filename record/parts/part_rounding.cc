#include "record/parts/part_rounding.h"

#include <algorithm>

#include "record/parts/kept_parts.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

// How many units, of which `units` last `seconds`, are not over before `time_us`.
int64_t CountAtOrAfter(int64_t time_us, int64_t units, int64_t seconds) {
  const auto time_of = [=](int64_t count) {
    return ScaleTime(count, seconds * kMicrosecondsPerSecond, units);
  };
  int64_t count = ScaleTime(time_us, units, seconds * kMicrosecondsPerSecond);
  while (time_of(count) < time_us) ++count;
  while (count > 0 && time_of(count - 1) >= time_us) --count;
  return count;
}

}  // namespace

PartRequest AtTicks(const PartRequest& request, int64_t frame_rate) {
  const auto time_of = [=](int64_t tick) {
    return ScaleTime(tick, kMicrosecondsPerSecond, frame_rate);
  };
  const auto nearest = [=](int64_t time_us) {
    return time_us >= kNoPartEnd ? kNoPartEnd
                                 : time_of(ScaleTime(time_us, frame_rate, kMicrosecondsPerSecond));
  };
  PartRequest at_ticks = request;
  at_ticks.from_us = nearest(request.from_us);
  at_ticks.to_us = nearest(request.to_us);
  for (TimeRange& cut : at_ticks.cuts) {
    int64_t first = CountAtOrAfter(cut.from_us, frame_rate, 1);
    if (time_of(first) > cut.from_us) --first;
    cut.from_us = time_of(first);
    if (cut.to_us < kNoPartEnd) cut.to_us = time_of(CountAtOrAfter(cut.to_us, frame_rate, 1));
  }
  return at_ticks;
}

PartRequest AtWholeAudioFrames(const PartRequest& request) {
  // 375 frames last 8 seconds.
  constexpr int64_t kFrames = 375;
  constexpr int64_t kSeconds = 8;
  PartRequest rounded = request;
  rounded.cuts.clear();
  for (TimeRange cut : JoinedRanges(request.cuts)) {
    if (!rounded.cuts.empty() && cut.from_us <= rounded.cuts.back().to_us) {
      cut.from_us = rounded.cuts.back().from_us;
      cut.to_us = std::max(cut.to_us, rounded.cuts.back().to_us);
      rounded.cuts.pop_back();
    }
    if (cut.from_us > request.from_us && cut.to_us < request.to_us) {
      const int64_t frames = CountAtOrAfter(cut.to_us - cut.from_us, kFrames, kSeconds);
      cut.to_us = cut.from_us + ScaleTime(frames, kSeconds * kMicrosecondsPerSecond, kFrames);
    }
    rounded.cuts.push_back(cut);
  }
  return rounded;
}

}  // namespace kxrtc_host
