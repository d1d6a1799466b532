// The audio mixer of the conference for the recorder: mixes the room block by block on the
// conference's clock and delivers AAC-LC frames (kxrtc/recording/audio_mixer_recorder.h).
// Threads: Start(), Stop() and GetAudioFormat() as the interface says; the other operations any.
// A thread of its own mixes from construction to destruction, so that voice activity is known even
// while nothing is recorded. The frames are delivered on it.
#ifndef HOST_CONFERENCE_MIXER_RECORDER_H_
#define HOST_CONFERENCE_MIXER_RECORDER_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "host/conference/aac_encoder.h"
#include "host/conference/audio_room.h"
#include "host/conference/conference_clock.h"
#include "host/conference/media_tap.h"
#include "host/conference/stop_signal.h"
#include "kxrtc/recording/audio_mixer_recorder.h"

namespace kxrtc_host {

class MixerRecorder final : public kxrtc::AudioMixerRecorder {
 public:
  static constexpr int kBitRate = 128000;

  // `room`, `clock` and `tap` (which may be null) outlive the object.
  MixerRecorder(AudioRoom* room, const ConferenceClock* clock, MediaTap* tap);
  ~MixerRecorder();
  MixerRecorder(const MixerRecorder&) = delete;
  MixerRecorder& operator=(const MixerRecorder&) = delete;

  // Starts delivery, or changes the source of a running mixer. False for another mode than
  // kAudioMixerMode, an unknown source, no sink, or an encoder that does not open.
  bool Start(int mode, int source, kxrtc::AudioMixerRecorderSink* sink) override;

  // Ends delivery. Waits for a frame that is being delivered; the recorder does not block that
  // frame during this call.
  bool Stop() override;

  // Channels, samples a second, bits a second.
  bool GetAudioFormat(uint32_t* channels, uint32_t* sample_rate, uint32_t* bit_rate) override;

  // Between a successful Start() and Stop(). Becomes false when the encoder fails.
  bool IsRunning() const;

  // Frames delivered since construction.
  uint64_t frames_delivered() const { return delivered_.load(std::memory_order_relaxed); }

 private:
  struct Delivery {
    std::shared_ptr<AacEncoder> encoder;  // None while nothing is delivered.
    kxrtc::AudioMixerRecorderSink* sink = nullptr;
    bool with_local = false;
  };

  void Run();
  bool Deliver(const Delivery& delivery, const float* block);  // False: the encoder failed.
  Delivery BeginDelivery();
  void EndDelivery(bool encoder_failed);
  Delivery CurrentDelivery() const;

  AudioRoom* const room_;
  const ConferenceClock* const clock_;
  MediaTap* const tap_;
  mutable std::mutex lock_;
  std::condition_variable delivered_block_;
  Delivery delivery_;
  bool delivering_ = false;  // The mixing thread uses a copy of `delivery_`.
  std::atomic<uint64_t> delivered_{0};
  StopSignal stop_;
  std::thread thread_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_MIXER_RECORDER_H_
