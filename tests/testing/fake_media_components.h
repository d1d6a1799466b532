// Host components for transcoding tests: a writer that keeps a readable trace of its calls, its
// factory, and an observer that tests can wait for.
#ifndef TESTS_TESTING_FAKE_MEDIA_COMPONENTS_H_
#define TESTS_TESTING_FAKE_MEDIA_COMPONENTS_H_

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "kxrtc/recording/media_component_factory.h"
#include "kxrtc/recording/mp4_sink_writer.h"
#include "kxrtc/recording/speaker_record_transcoder.h"

namespace kx_testing {

// Traces e.g. "attributes 640x360 r0", "video 40000 key", "audio 21333 audio". Frames of the icon
// clip appear as "icon0" to "icon7", any other access unit as "key", "delta" or its size. A call
// whose trace begins with `fail_at` is refused.
class FakeMp4SinkWriter final : public kxrtc::Mp4SinkWriter {
 public:
  bool StartStreaming(const char* output_path, const kxrtc::VideoConfig* video,
                      const kxrtc::AudioConfig* audio,
                      kxrtc::Mp4SinkWriterObserver* observer) override;
  void StopStreaming() override;
  bool SetNewInputVideoAttributes(uint32_t width, uint32_t height, int32_t rotation) override;
  bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override;
  bool PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override;
  bool SetTRVVlogPath(const char* log_path) override;
  bool SetD3dManger(void* d3d11m, void* d3d9m) override;
  bool SetPreferHW(bool preferHW) override;
  bool SetDx9Caps(int caps) override;
  bool GetDx9Caps(int* caps) override;
  bool GetDx9CapsType(int* type) override;

  std::vector<std::string> calls() const;
  // Those that set attributes or push samples, each run of icon frames as "icon <first time>".
  std::vector<std::string> samples() const;
  void Clear();
  kxrtc::Mp4SinkWriterObserver* observer() const { return observer_; }

  std::string fail_at;                                   // Set before the writer is used.
  std::function<void(const std::string& call)> on_call;  // Likewise; runs after the call is traced.

 private:
  bool Trace(const std::string& call);

  mutable std::mutex lock_;
  std::vector<std::string> calls_;
  kxrtc::Mp4SinkWriterObserver* observer_ = nullptr;
};

class FakeMediaComponentFactory final : public kxrtc::MediaComponentFactory {
 public:
  explicit FakeMediaComponentFactory(FakeMp4SinkWriter* writer) : writer_(writer) {}

  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer, bool is_desktop) override;
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter* writer) override;

  bool refuse = false;             // Answers false.
  bool stores_null = false;        // Hands out no writer, whatever it answers.
  std::vector<std::string> calls;  // "create desktop", "create camera", "release".

 private:
  FakeMp4SinkWriter* writer_;
};

// Keeps "completed", "error 4" and "progress 50 1200" in order of arrival.
class FakeTranscoderObserver final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  void OnTranscodeProgress(uint32_t progress, uint32_t position) override;
  void OnTranscodeCompleted() override;
  void OnTranscodeError(int32_t error_code) override;

  // Waits until completion or an error arrived; false after ten seconds without one.
  bool WaitForEnd();
  std::vector<std::string> events() const;

 private:
  void Add(const std::string& event, bool is_end);

  mutable std::mutex lock_;
  std::condition_variable ended_;
  bool has_ended_ = false;
  std::vector<std::string> events_;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_FAKE_MEDIA_COMPONENTS_H_
