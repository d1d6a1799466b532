// The input is an index with its two data files, replayed by the real transcoder. Whatever they
// hold: exactly one end is reported, every sample lies in its file, audio rises by one frame's
// duration and video by the least spacing.
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string>

#include "fuzz/fuzz_folder.h"
#include "fuzz/fuzz_input.h"
#include "kxrtc/recording/speaker_record_descriptor_document.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"

using kx_fuzz::Check;

namespace {

class CheckingWriter final : public kxrtc::Mp4SinkWriter {
 public:
  bool StartStreaming(const char*, const kxrtc::VideoConfig*, const kxrtc::AudioConfig*,
                      kxrtc::Mp4SinkWriterObserver*) override {
    return true;
  }
  void StopStreaming() override {}
  bool SetNewInputVideoAttributes(uint32_t, uint32_t, int32_t) override { return true; }
  bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override {
    Check(timestamp_us == std::numeric_limits<int64_t>::max() ||
              timestamp_us - video_time_us_ >= 10000,
          "video keeps its distance");
    video_time_us_ = timestamp_us;
    ReadAll(data, size);
    return true;
  }
  bool PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override {
    Check(timestamp_us == audio_time_us_ + 21333, "audio rises by one frame");
    audio_time_us_ = timestamp_us;
    ReadAll(data, size);
    return true;
  }
  bool SetTRVVlogPath(const char*) override { return true; }
  bool SetD3dManger(void*, void*) override { return true; }
  bool SetPreferHW(bool) override { return true; }
  bool SetDx9Caps(int) override { return true; }
  bool GetDx9Caps(int*) override { return true; }
  bool GetDx9CapsType(int*) override { return true; }

 private:
  // Touches every byte, so that the sanitizer sees a sample that lies about its size.
  void ReadAll(const uint8_t* data, uint32_t size) {
    for (uint32_t i = 0; i < size; ++i) sum_ += data[i];
  }

  int64_t video_time_us_ = 0;
  int64_t audio_time_us_ = 0;
  volatile uint32_t sum_ = 0;
};

class Factory final : public kxrtc::MediaComponentFactory {
 public:
  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer, bool) override {
    *writer = &writer_;
    return true;
  }
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter*) override {}

 private:
  CheckingWriter writer_;
};

class Observer final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  void OnTranscodeProgress(uint32_t progress, uint32_t) override {
    Check(progress <= 100, "progress is a share of the index");
  }
  void OnTranscodeCompleted() override { End(); }
  void OnTranscodeError(int32_t error_code) override {
    Check(error_code == kxrtc::kTranscodeErrorReplay, "only the replay fails here");
    End();
  }

  void Wait() {
    std::unique_lock<std::mutex> guard(lock_);
    ended_.wait(guard, [this] { return end_count_ != 0; });
  }
  int end_count() const { return end_count_; }

 private:
  void End() {
    std::lock_guard<std::mutex> guard(lock_);
    ++end_count_;
    ended_.notify_all();
  }

  std::mutex lock_;
  std::condition_variable ended_;
  int end_count_ = 0;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const kx_fuzz::FuzzFolder folder;
  kx_fuzz::FuzzInput input(data, size);
  const size_t index_size = input.Number(2);
  const size_t video_size = input.Number(2);
  folder.Write("SpeakeRecord.index", input.Bytes(index_size));
  folder.Write("SpeakeRecord.264", input.Bytes(video_size));
  folder.Write("SpeakeRecord.aac", input.Bytes(input.size()));
  folder.Write("SpeakeRecord.desc", kxrtc::RenderSpeakerRecordDesc({0, 0, 0, 2}, {}));

  Factory factory;
  Observer observer;
  kxrtc::SpeakerRecordTranscoderImp transcoder;
  Check(transcoder.StartTranscoding(folder.path().c_str(), "out.mp4", &observer, &factory),
        "a record that can be opened starts");
  observer.Wait();
  transcoder.StopTranscoding();
  Check(observer.end_count() == 1, "there is one end");
  return 0;
}
