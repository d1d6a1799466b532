// Output time as it arrives, and the time that is written.
//
// An audio frame of 1024 samples at 48 kHz lasts 64000/3 us, but arrives on a grid of 21333 us.
// Stretching every timestamp by 64000/63999 puts audio exactly on multiples of 1024 samples and
// keeps video beside it: if only audio counted samples, the two would drift by 56 ms an hour.
// Threads: any.
#ifndef RECORD_TIMING_MEDIA_TIME_H_
#define RECORD_TIMING_MEDIA_TIME_H_

#include <cstdint>

#include "kxrtc/recording/replay_rules.h"

namespace kxrtc_host {

inline constexpr int64_t kAudioSampleRate = 48000;
inline constexpr int64_t kSamplesPerAudioFrame = 1024;
inline constexpr int64_t kMicrosecondsPerSecond = 1000000;

// `ticks` * `numerator` / `denominator`, rounded to nearest, for ticks of either sign and without
// overflow as long as the result fits. The two factors are positive and below 2^31.
constexpr int64_t ScaleTime(int64_t ticks, int64_t numerator, int64_t denominator) {
  int64_t whole = ticks / denominator;
  int64_t rest = ticks % denominator;
  if (rest < 0) {
    rest += denominator;
    --whole;
  }
  return whole * numerator + (rest * numerator + denominator / 2) / denominator;
}

// Output times beyond this, in either direction, come from a damaged record and are cut to it.
inline constexpr int64_t kMaxOutputTimeUs = int64_t{1} << 61;

// Microseconds as written for `timestamp_us` of output time.
constexpr int64_t ExactMicroseconds(int64_t timestamp_us) {
  return ScaleTime(timestamp_us, 64000, 63999);
}

// Audio samples at 48 kHz for `timestamp_us` of output time: frame k is exactly at 1024 * k.
constexpr int64_t ExactAudioSamples(int64_t timestamp_us) {
  return ScaleTime(timestamp_us, kSamplesPerAudioFrame, kxrtc::kAudioFrameDurationUs);
}

constexpr int64_t AudioSamplesToMicroseconds(int64_t samples) {
  return ScaleTime(samples, kMicrosecondsPerSecond, kAudioSampleRate);
}

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_MEDIA_TIME_H_
