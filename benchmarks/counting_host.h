// A host that only counts what a replay pushes: what remains is the cost of the replay.
#ifndef BENCHMARKS_COUNTING_HOST_H_
#define BENCHMARKS_COUNTING_HOST_H_

#include <cstdint>
#include <future>

#include "kxrtc/recording/media_component_factory.h"
#include "kxrtc/recording/mp4_sink_writer.h"
#include "kxrtc/recording/speaker_record_transcoder.h"

namespace kxrtc_benchmark {

class CountingWriter final : public kxrtc::Mp4SinkWriter {
 public:
  virtual ~CountingWriter() = default;
  bool StartStreaming(const char* /*path*/, const kxrtc::VideoConfig* /*video*/,
                      const kxrtc::AudioConfig* /*audio*/,
                      kxrtc::Mp4SinkWriterObserver* /*observer*/) override {
    return true;
  }
  void StopStreaming() override {}
  bool SetNewInputVideoAttributes(uint32_t /*width*/, uint32_t /*height*/,
                                  int32_t /*rotation*/) override {
    return true;
  }
  bool PushVideoSample(int64_t /*us*/, const uint8_t* /*data*/, uint32_t size) override {
    return Count(size);
  }
  bool PushAudioSample(int64_t /*us*/, const uint8_t* /*data*/, uint32_t size) override {
    return Count(size);
  }
  bool SetTRVVlogPath(const char* /*path*/) override { return true; }
  bool SetD3dManger(void* /*d3d11m*/, void* /*d3d9m*/) override { return true; }
  bool SetPreferHW(bool /*prefer*/) override { return true; }
  bool SetDx9Caps(int /*caps*/) override { return false; }
  bool GetDx9Caps(int* /*caps*/) override { return false; }
  bool GetDx9CapsType(int* /*type*/) override { return false; }

  uint64_t samples = 0;
  uint64_t bytes = 0;

 private:
  bool Count(uint32_t size) {
    ++samples;
    bytes += size;
    return true;
  }
};

class CountingFactory final : public kxrtc::MediaComponentFactory {
 public:
  virtual ~CountingFactory() = default;
  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** created, bool /*is_desktop*/) override {
    *created = &writer;
    return true;
  }
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter* /*writer*/) override {}

  CountingWriter writer;
};

// Waits for the end of one replay; its future tells whether it completed.
class EndObserver final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  virtual ~EndObserver() = default;
  void OnTranscodeProgress(uint32_t /*progress*/, uint32_t /*position*/) override {}
  void OnTranscodeCompleted() override { end.set_value(true); }
  void OnTranscodeError(int32_t /*error_code*/) override { end.set_value(false); }

  std::promise<bool> end;
};

}  // namespace kxrtc_benchmark

#endif  // BENCHMARKS_COUNTING_HOST_H_
