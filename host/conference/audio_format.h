// The format of sound in the conference: interleaved stereo floats at 48 kHz, in blocks of one AAC
// frame.
#ifndef HOST_CONFERENCE_AUDIO_FORMAT_H_
#define HOST_CONFERENCE_AUDIO_FORMAT_H_

#include <cstddef>
#include <cstdint>

#include "record/timing/media_time.h"

namespace kxrtc_host {

inline constexpr int kAudioChannels = 2;
inline constexpr size_t kAudioBlockSamples = kSamplesPerAudioFrame;  // A channel; 21.333 ms.
inline constexpr size_t kAudioBlockFloats = kAudioBlockSamples * kAudioChannels;

// The index of the sample nearest to `time_us`, both counted on the conference's clock.
constexpr int64_t SampleAt(int64_t time_us) {
  return ScaleTime(time_us, kAudioSampleRate, kMicrosecondsPerSecond);
}

// The reverse: microseconds at which the sample `index` begins.
constexpr int64_t TimeOfSample(int64_t index) { return AudioSamplesToMicroseconds(index); }

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_AUDIO_FORMAT_H_
