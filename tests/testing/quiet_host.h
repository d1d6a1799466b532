// A host and a log sink that allocate nothing, for tests in which allocations fail.
#ifndef TESTS_TESTING_QUIET_HOST_H_
#define TESTS_TESTING_QUIET_HOST_H_

#include <atomic>
#include <cstdint>

#include "kx_utility/logging.h"
#include "kxrtc/recording/audio_mixer_recorder.h"
#include "kxrtc/recording/video_frame_relay.h"

namespace kx_testing {

// Counts errors. The sink of the process while it lives.
class ErrorCounter final : public kx_utility::LogSink {
 public:
  ErrorCounter() { kx_utility::LogMessage::AddLogSink(this); }
  ~ErrorCounter() override { kx_utility::LogMessage::AddLogSink(nullptr); }

  // Errors since the last call.
  int Take() { return errors_.exchange(0, std::memory_order_relaxed); }

  void OnLogMessage(const char*, kx_utility::LoggingSeverity severity) override {
    if (severity == kx_utility::LS_ERROR) errors_.fetch_add(1, std::memory_order_relaxed);
  }
  void SetDumpScopeLog(bool) override {}

 private:
  std::atomic<int> errors_{0};
};

// A mixer that never delivers.
class QuietMixer final : public kxrtc::AudioFactory, public kxrtc::AudioMixerRecorder {
 public:
  int handed_out = 0;  // Created and not released.

  bool CreateAudioMixerRecorder(kxrtc::AudioMixerRecorder** out) override {
    ++handed_out;
    *out = this;
    return true;
  }
  void ReleaseAudioMixerRecorder(kxrtc::AudioMixerRecorder*) override { --handed_out; }
  bool Start(int, int, kxrtc::AudioMixerRecorderSink*) override { return true; }
  bool Stop() override { return true; }
  bool GetAudioFormat(uint32_t* channels, uint32_t*, uint32_t*) override {
    *channels = 2;
    return true;
  }
};

// The bytes "audio".
class QuietFrame final : public kxrtc::EncodedAudioFrame {
 public:
  uint32_t GetLength() override { return 5; }
  const uint8_t* GetData() override { return reinterpret_cast<const uint8_t*>("audio"); }
};

// A key frame of 640x360 with the bytes 1, 2, 3.
inline kxrtc::EncodedImage QuietImage() {
  static const uint8_t kBytes[] = {1, 2, 3};
  kxrtc::EncodedImage image;
  image.encoded_width = 640;
  image.encoded_height = 360;
  image.frame_type = kxrtc::kVideoFrameTypeKey;
  image.data = kBytes;
  image.length = sizeof(kBytes);
  return image;
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_QUIET_HOST_H_
