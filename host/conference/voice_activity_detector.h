// Decides from the level of a microphone whether its owner speaks.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_VOICE_ACTIVITY_DETECTOR_H_
#define HOST_CONFERENCE_VOICE_ACTIVITY_DETECTOR_H_

#include <cstddef>
#include <cstdint>

namespace kxrtc_host {

struct VoiceActivityConfig {
  double threshold_dbfs = -45;    // Root mean square of a block that counts as voice.
  int64_t attack_us = 60000;      // Shorter sounds are clicks and do not count.
  int64_t hang_over_us = 600000;  // Shorter pauses, as between words, do not count.
};

class VoiceActivityDetector {
 public:
  explicit VoiceActivityDetector(const VoiceActivityConfig& config = VoiceActivityConfig());

  // Takes the next `samples` samples a channel, interleaved. True while somebody speaks.
  bool Update(const float* interleaved, size_t samples);

  bool speaking() const { return speaking_; }

  // The microphone was closed.
  void Reset();

 private:
  VoiceActivityConfig config_;
  double threshold_power_;
  int64_t loud_us_ = 0;   // Length of the current run of loud blocks.
  int64_t quiet_us_ = 0;  // Length of the current run of quiet blocks.
  bool speaking_ = false;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_VOICE_ACTIVITY_DETECTOR_H_
