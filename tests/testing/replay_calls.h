// The calls that the library's replay makes into an MP4 writer, and those that are predicted, as
// plain values that can be compared. For programs that link the record tools and either library.
#ifndef TESTS_TESTING_REPLAY_CALLS_H_
#define TESTS_TESTING_REPLAY_CALLS_H_

#include <algorithm>
#include <cstdint>
#include <future>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/recording/icon_frames.h"
#include "record/index/record_files.h"
#include "record/predict/replay_simulator.h"
#include "rtc_transcoder/api/rtc_transcoder.h"

namespace kx_testing {

struct ReplayCall {
  enum class Kind { kAttributes, kVideo, kAudio };
  Kind kind = Kind::kAttributes;
  int64_t output_us = 0;       // Of a sample.
  uint32_t width_or_size = 0;  // Bytes of a sample; 0 for a picture of the filler clip.
  uint32_t height = 0;
  int32_t rotation_angle = 0;

  bool operator==(const ReplayCall& other) const {
    return kind == other.kind && output_us == other.output_us &&
           width_or_size == other.width_or_size && height == other.height &&
           rotation_angle == other.rotation_angle;
  }
  friend std::ostream& operator<<(std::ostream& out, const ReplayCall& call) {
    const char* const names[] = {"attributes", "video", "audio"};
    return out << names[static_cast<int>(call.kind)] << ' ' << call.output_us << ' '
               << call.width_or_size << 'x' << call.height << " r" << call.rotation_angle;
  }
};

struct ReplayCalls {
  std::vector<ReplayCall> calls;
  bool completes = false;

  bool operator==(const ReplayCalls& other) const {
    return calls == other.calls && completes == other.completes;
  }
  friend std::ostream& operator<<(std::ostream& out, const ReplayCalls& all) {
    for (const ReplayCall& call : all.calls) out << call << '\n';
    return out << (all.completes ? "completed" : "failed");
  }
};

// Keeps the calls; the pictures of the filler clip, told by their bytes, have no size.
class ReplayCallWriter final : public kxrtc::Mp4SinkWriter {
 public:
  explicit ReplayCallWriter(std::vector<ReplayCall>* calls) : calls_(calls) {}

  bool StartStreaming(const char*, const kxrtc::VideoConfig*, const kxrtc::AudioConfig*,
                      kxrtc::Mp4SinkWriterObserver*) override {
    return true;
  }
  void StopStreaming() override {}
  bool SetNewInputVideoAttributes(uint32_t width, uint32_t height, int32_t rotation) override {
    calls_->push_back({ReplayCall::Kind::kAttributes, 0, width, height, rotation});
    return true;
  }
  bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override {
    const bool is_filler = std::any_of(
        std::begin(kxrtc::kIconFrames), std::end(kxrtc::kIconFrames), [&](const auto& picture) {
          return picture.size == size && std::equal(data, data + size, picture.data);
        });
    calls_->push_back({ReplayCall::Kind::kVideo, timestamp_us, is_filler ? 0 : size, 0, 0});
    return true;
  }
  bool PushAudioSample(int64_t timestamp_us, const uint8_t*, uint32_t size) override {
    calls_->push_back({ReplayCall::Kind::kAudio, timestamp_us, size, 0, 0});
    return true;
  }
  bool SetTRVVlogPath(const char*) override { return true; }
  bool SetD3dManger(void*, void*) override { return true; }
  bool SetPreferHW(bool) override { return true; }
  bool SetDx9Caps(int) override { return true; }
  bool GetDx9Caps(int*) override { return false; }
  bool GetDx9CapsType(int*) override { return false; }

 private:
  std::vector<ReplayCall>* calls_;
};

class ReplayCallFactory final : public kxrtc::MediaComponentFactory {
 public:
  explicit ReplayCallFactory(ReplayCallWriter* writer) : writer_(writer) {}
  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer, bool) override {
    *writer = writer_;
    return true;
  }
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter*) override {}

 private:
  ReplayCallWriter* writer_;
};

class ReplayEndObserver final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  void OnTranscodeProgress(uint32_t, uint32_t) override {}
  void OnTranscodeCompleted() override { completed_.set_value(true); }
  void OnTranscodeError(int32_t) override { completed_.set_value(false); }
  bool Wait() { return completed_.get_future().get(); }

 private:
  std::promise<bool> completed_;
};

// Replays the record in `folder`, with its trailing separator.
inline ReplayCalls RunReplay(kxrtc::SpeakerRecordTranscoder* transcoder,
                             const std::string& folder) {
  ReplayCalls result;
  ReplayCallWriter writer(&result.calls);
  ReplayCallFactory factory(&writer);
  ReplayEndObserver observer;
  (void)transcoder->StartTranscoding(folder.c_str(), "", &observer, &factory);
  result.completes = observer.Wait();
  (void)transcoder->StopTranscoding();
  return result;
}

// The same with the library's transcoder.
inline ReplayCalls RunReplay(const std::string& folder) {
  void* handle = nullptr;
  CreateSpeakerRecordTranscoder(&handle);
  const ReplayCalls result =
      RunReplay(static_cast<kxrtc::SpeakerRecordTranscoder*>(handle), folder);
  ReleaseSpeakerRecordTranscoder(handle);
  return result;
}

class PredictedCalls final : public kxrtc_host::ReplayEvents {
 public:
  explicit PredictedCalls(std::vector<ReplayCall>* calls) : calls_(calls) {}

  void OnSessionStart(int64_t, uint32_t) override {}
  void OnSessionStop() override {}
  void OnChannel(int64_t, int64_t, uint32_t) override {}
  void OnDroppedFrame(int64_t) override {}
  void OnAttributes(uint32_t width, uint32_t height, int32_t rotation) override {
    calls_->push_back({ReplayCall::Kind::kAttributes, 0, width, height, rotation});
  }
  void OnFrame(int64_t output_us, const kxrtc_host::IndexRecord& record, bool) override {
    calls_->push_back({ReplayCall::Kind::kVideo, output_us, record.data.size, 0, 0});
  }
  void OnAudio(int64_t output_us, const kxrtc_host::IndexRecord& record) override {
    calls_->push_back({ReplayCall::Kind::kAudio, output_us, record.data.size, 0, 0});
  }
  void OnFiller(int64_t, kxrtc_host::FillerReason) override {}
  void OnFillerPicture(int64_t output_us) override {
    calls_->push_back({ReplayCall::Kind::kVideo, output_us, 0, 0, 0});
  }

 private:
  std::vector<ReplayCall>* calls_;
};

// What is predicted for the same record.
inline ReplayCalls PredictReplay(const std::string& folder) {
  ReplayCalls result;
  kxrtc_host::RecordFiles files;
  files.Open(folder);
  kxrtc_host::IndexState state(&files.video, &files.audio);
  PredictedCalls calls(&result.calls);
  kxrtc_host::ReplaySimulator simulator(&state, &calls);
  kxrtc_host::IndexWalker walker(&files.index);
  kxrtc_host::IndexRecord record;
  std::vector<uint8_t> frame;
  for (;;) {
    const kxrtc_host::IndexWalker::Step step = walker.Next(&record);
    if (step == kxrtc_host::IndexWalker::Step::kEnd) break;
    if (step != kxrtc_host::IndexWalker::Step::kRecord) {
      simulator.OnBrokenIndex(step, record.offset);
      continue;
    }
    bool is_key = false;
    if (record.header.type == kxrtc::kVideoData &&
        state.PlaceOf(record) == kxrtc_host::FramePlace::kInFile) {
      frame.resize(record.data.size);
      (void)files.video.Read(record.data.start_position, frame.data(), frame.size());
      is_key = kxrtc::H264::IsKeyFrame(frame.data(), record.data.size);
    }
    simulator.OnRecord(record, state.FaultOf(record), is_key);
    state.Take(record);
  }
  simulator.Finish();
  result.completes = !simulator.failure();
  return result;
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_REPLAY_CALLS_H_
