// A host's audio factory and its one mixer.
#ifndef TESTS_TESTING_FAKE_AUDIO_MIXER_H_
#define TESTS_TESTING_FAKE_AUDIO_MIXER_H_

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "kxrtc/recording/audio_mixer_recorder.h"

namespace kx_testing {

// An encoded audio frame that holds `bytes`.
class FakeAudioFrame final : public kxrtc::EncodedAudioFrame {
 public:
  explicit FakeAudioFrame(std::string bytes) : bytes_(std::move(bytes)) {}

  uint32_t GetLength() override { return static_cast<uint32_t>(bytes_.size()); }
  const uint8_t* GetData() override { return reinterpret_cast<const uint8_t*>(bytes_.data()); }

 private:
  std::string bytes_;
};

// Keeps a trace of the calls: "create", "start 2 3", "format", "stop", "release". The public
// members are set before the mixer is used. Threads: any.
class FakeAudioMixer final : public kxrtc::AudioFactory, public kxrtc::AudioMixerRecorder {
 public:
  // Results of the operations.
  bool create_result = true;
  bool start_result = true;
  bool format_result = true;
  bool stop_result = true;
  int refused_source = 0;  // Start() fails for this source.
  // Called inside Start() and Stop().
  std::function<void()> on_start = [] {};
  std::function<void()> on_stop = [] {};

  std::vector<std::string> calls() const;

  // The sink of the latest Start(); null before.
  kxrtc::AudioMixerRecorderSink* sink() const;

  // AudioFactory:
  bool CreateAudioMixerRecorder(kxrtc::AudioMixerRecorder** out) override;
  void ReleaseAudioMixerRecorder(kxrtc::AudioMixerRecorder* recorder) override;

  // AudioMixerRecorder: two channels, 48000, 16.
  bool Start(int mode, int source, kxrtc::AudioMixerRecorderSink* sink) override;
  bool Stop() override;
  bool GetAudioFormat(uint32_t* channels, uint32_t* host_value1, uint32_t* host_value2) override;

 private:
  void Trace(const std::string& call);

  mutable std::mutex lock_;
  std::vector<std::string> calls_;
  kxrtc::AudioMixerRecorderSink* sink_ = nullptr;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_FAKE_AUDIO_MIXER_H_
