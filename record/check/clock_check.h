// Checks the recorder's clock for steps, and the distance of the audio frames: their output time is
// fixed, whatever their sample rate was.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_CLOCK_CHECK_H_
#define RECORD_CHECK_CLOCK_CHECK_H_

#include <cstdint>
#include <optional>

#include "record/check/record_summary.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

// Records of two threads may swap slightly. A larger step back is a change of the clock.
inline constexpr int64_t kBackwardStepUs = 100000;
// Audio comes all the time. A longer gap is a change of the clock, or no media arrived.
inline constexpr int64_t kForwardStepUs = 1000000;
// The mean distance of audio frames may be 2 percent off. It needs so many frames.
inline constexpr double kCadenceTolerance = 0.02;
inline constexpr uint64_t kCadenceMinFrames = 100;

class ClockCheck {
 public:
  // `summary` is borrowed. Writes its audio interval and findings.
  explicit ClockCheck(RecordSummary* summary) : summary_(summary) {}

  void OnRecord(const IndexRecord& record);
  void Finish();

 private:
  void OnAudio(int64_t time_us);

  RecordSummary* summary_;
  bool in_session_ = false;
  bool has_audio_ = false;  // In this session.
  int64_t last_us_ = 0;
  int64_t last_audio_us_ = 0;
  int64_t first_measured_us_ = 0;  // The first audio frame.
  int64_t interval_sum_us_ = 0;
  uint64_t intervals_ = 0;
  uint64_t swaps_ = 0;
  std::optional<int64_t> first_swap_us_;
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_CLOCK_CHECK_H_
