#include "record/check/clock_check.h"

#include <cinttypes>
#include <cmath>

#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_transcoder.h"
#include "record/index/record_text.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {

using kxrtc::kAudioFrameDurationUs;

void ClockCheck::OnRecord(const IndexRecord& record) {
  const int64_t time_us = record.header.record_timestamp_us;
  const int64_t step_us = kxrtc::SaturatedSubtract(time_us, last_us_);
  const bool starts = record.header.type == kxrtc::kStartRecording;
  if (summary_->index_records > 1 && step_us < -kBackwardStepUs) {
    summary_->findings.Add(FindingCode::kClockBackwardStep, time_us,
                           Text("the clock went back by %s (from %s)",
                                SecondsText(kxrtc::SaturatedSubtract(last_us_, time_us)).c_str(),
                                SecondsText(last_us_).c_str()));
  } else if (summary_->index_records > 1 && step_us < 0) {
    ++swaps_;
    if (!first_swap_us_) first_swap_us_ = time_us;
  } else if (in_session_ && !starts && step_us > kForwardStepUs) {
    summary_->findings.Add(FindingCode::kClockForwardStep, time_us,
                           Text("no record for %s (from %s): the clock was set forward, or "
                                "no media arrived",
                                SecondsText(step_us).c_str(), SecondsText(last_us_).c_str()));
  }
  last_us_ = time_us;
  if (starts) has_audio_ = false;
  in_session_ = record.header.type != kxrtc::kStopRecording;
  if (record.header.type == kxrtc::kAudioData) OnAudio(time_us);
}

void ClockCheck::OnAudio(int64_t time_us) {
  const int64_t interval_us = kxrtc::SaturatedSubtract(time_us, last_audio_us_);
  if (has_audio_ && interval_us >= -kBackwardStepUs && interval_us <= kForwardStepUs) {
    if (intervals_ == 0) first_measured_us_ = last_audio_us_;
    interval_sum_us_ = kxrtc::SaturatedAdd(interval_sum_us_, interval_us);
    ++intervals_;
  }
  has_audio_ = true;
  last_audio_us_ = time_us;
}

void ClockCheck::Finish() {
  if (swaps_ > 0) {
    summary_->findings.Add(FindingCode::kClockOutOfOrder, first_swap_us_,
                           CountText(swaps_, "record") + ByCount(swaps_, " is", " are") +
                               " slightly earlier than the record before " +
                               ByCount(swaps_, "it", "them"));
  }
  if (intervals_ == 0) return;
  const double mean_us = static_cast<double>(interval_sum_us_) / static_cast<double>(intervals_);
  summary_->audio_interval_us = mean_us;
  if (intervals_ + 1 < kCadenceMinFrames) return;
  if (std::abs(mean_us / kAudioFrameDurationUs - 1) <= kCadenceTolerance) return;
  summary_->findings.Add(
      FindingCode::kAudioCadence, first_measured_us_,
      Text("audio frames come every %.0f us instead of %" PRId64
           " us (about %.0f Hz with 1024 samples a frame): sound and pictures drift apart",
           mean_us, kAudioFrameDurationUs, 1024e6 / mean_us));
}

}  // namespace kxrtc_host
