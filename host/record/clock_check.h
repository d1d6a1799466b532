// Checks the recorder's clock: steps against the order of the records, and the rhythm of the audio
// frames, whose output time is fixed whatever their sample rate was.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_CLOCK_CHECK_H_
#define HOST_RECORD_CLOCK_CHECK_H_

#include <cstdint>
#include <optional>

#include "host/record/index_walker.h"
#include "host/record/record_summary.h"

namespace kxrtc_host {

// Records of two threads may swap by little; more than this backwards is a step of the clock.
inline constexpr int64_t kBackwardStepUs = 100000;
// Audio comes all the time: a longer silence of the index is a step, or nobody delivered.
inline constexpr int64_t kForwardStepUs = 1000000;
// The mean distance of audio frames may be off by 2 percent, measured over so many frames.
inline constexpr double kCadenceTolerance = 0.02;
inline constexpr uint64_t kCadenceMinFrames = 100;

class ClockCheck {
 public:
  // `summary` is borrowed: the audio interval and findings are written.
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
  int64_t first_measured_us_ = 0;  // The frame that the first interval begins with.
  int64_t interval_sum_us_ = 0;
  uint64_t intervals_ = 0;
  uint64_t swaps_ = 0;
  std::optional<int64_t> first_swap_us_;
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_CLOCK_CHECK_H_
