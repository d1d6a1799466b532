#include "record/check/recorded_time.h"

#include "kxrtc/recording/replay_rules.h"
#include "record/check/clock_check.h"

namespace kxrtc_host {

void RecordedTime::Take(const kxrtc::SpeakerRecordHeader& record) {
  if (record.type == kxrtc::kStartRecording || record.type == kxrtc::kStopRecording) {
    latest_us_.reset();
  }
  if (record.type != kxrtc::kVideoData && record.type != kxrtc::kAudioData) return;
  const int64_t time_us = record.record_timestamp_us;
  const int64_t step_us =
      latest_us_ ? kxrtc::SaturatedSubtract(time_us, *latest_us_) : kForwardStepUs + 1;
  if (step_us < 0 && step_us >= -kBackwardStepUs) return;  // Two threads swapped them.
  const bool goes_on = step_us >= 0 && step_us <= kForwardStepUs;
  total_us_ = kxrtc::SaturatedAdd(total_us_, goes_on ? step_us : kxrtc::kAudioFrameDurationUs);
  latest_us_ = time_us;
}

}  // namespace kxrtc_host
