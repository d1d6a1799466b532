// Gives the audio mixer of the conference to the recorder.
// Threads: CreateAudioMixerRecorder() and ReleaseAudioMixerRecorder() on the control thread.
#ifndef HOST_CONFERENCE_CONFERENCE_AUDIO_FACTORY_H_
#define HOST_CONFERENCE_CONFERENCE_AUDIO_FACTORY_H_

#include <memory>

#include "host/conference/mixer_recorder.h"

namespace kxrtc_host {

// Makes one mixer at a time.
class ConferenceAudioFactory final : public kxrtc::AudioFactory {
 public:
  // The arguments outlive the object; `tap` may be null.
  ConferenceAudioFactory(AudioRoom* room, const ConferenceClock* clock, MediaTap* tap)
      : room_(room), clock_(clock), tap_(tap) {}

  // False while an earlier mixer was not released.
  bool CreateAudioMixerRecorder(kxrtc::AudioMixerRecorder** out) override {
    if (mixer_ != nullptr) return false;
    mixer_ = std::make_unique<MixerRecorder>(room_, clock_, tap_);
    *out = mixer_.get();
    return true;
  }

  void ReleaseAudioMixerRecorder(kxrtc::AudioMixerRecorder* recorder) override {
    if (recorder == mixer_.get()) mixer_.reset();
  }

  // Null while there is none.
  const MixerRecorder* mixer() const { return mixer_.get(); }

 private:
  AudioRoom* const room_;
  const ConferenceClock* const clock_;
  MediaTap* const tap_;
  std::unique_ptr<MixerRecorder> mixer_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_CONFERENCE_AUDIO_FACTORY_H_
