#include "tests/testing/fake_audio_mixer.h"

namespace kx_testing {

std::vector<std::string> FakeAudioMixer::calls() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return calls_;
}

kxrtc::AudioMixerRecorderSink* FakeAudioMixer::sink() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return sink_;
}

bool FakeAudioMixer::CreateAudioMixerRecorder(kxrtc::AudioMixerRecorder** out) {
  Trace("create");
  *out = this;
  return create_result;
}

void FakeAudioMixer::ReleaseAudioMixerRecorder(kxrtc::AudioMixerRecorder* recorder) {
  Trace(recorder == this ? "release" : "release of another mixer");
}

bool FakeAudioMixer::Start(int mode, int source, kxrtc::AudioMixerRecorderSink* sink) {
  Trace("start " + std::to_string(mode) + " " + std::to_string(source));
  {
    const std::lock_guard<std::mutex> guard(lock_);
    sink_ = sink;
  }
  on_start();
  return start_result && source != refused_source;
}

bool FakeAudioMixer::Stop() {
  Trace("stop");
  on_stop();
  return stop_result;
}

bool FakeAudioMixer::GetAudioFormat(uint32_t* channels, uint32_t* host_value1,
                                    uint32_t* host_value2) {
  Trace("format");
  *channels = 2;
  *host_value1 = 48000;
  *host_value2 = 16;
  return format_result;
}

void FakeAudioMixer::Trace(const std::string& call) {
  const std::lock_guard<std::mutex> guard(lock_);
  calls_.push_back(call);
}

}  // namespace kx_testing
