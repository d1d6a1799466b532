// The decoded sound of one microphone for the mixer, on the conference's clock.
// Threads: one writes, one reads.
#ifndef HOST_CONFERENCE_SOUND_TRACK_H_
#define HOST_CONFERENCE_SOUND_TRACK_H_

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "host/conference/audio_format.h"

namespace kxrtc_host {

class SoundTrack {
 public:
  // How much is kept. New sound overwrites the oldest.
  static constexpr int64_t kCapacitySamples = 1 << 18;  // 5.4 s.

  SoundTrack();

  // Writes `samples` samples a channel at the sample index `first`. A part that overlaps earlier
  // sound is dropped; a gap before it becomes silence.
  void Write(int64_t first, const float* interleaved, size_t samples);

  // Copies `samples` samples a channel from the index `first` on; silence where there is no sound.
  // Returns the number of samples that were there.
  size_t Read(int64_t first, float* interleaved, size_t samples) const;

  // Removes everything, so that the next Write() may be at any place.
  void Clear();

 private:
  void Put(int64_t index, const float* interleaved, size_t samples);  // Null is silence.

  mutable std::mutex lock_;
  std::vector<float> ring_;
  int64_t begin_ = 0;  // The samples [begin_, end_) are in the ring.
  int64_t end_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_SOUND_TRACK_H_
