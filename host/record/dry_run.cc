#include "host/record/dry_run.h"

#include <condition_variable>
#include <mutex>

#include "host/record/call_digest.h"
#include "host/record/record_file.h"
#include "host/record/text.h"
#include "host/shared/frame_limit.h"
#include "rtc_transcoder/api/rtc_transcoder.h"

namespace kxrtc_host {
namespace {

class CountingSink final : public kxrtc::Mp4SinkWriter {
 public:
  bool StartStreaming(const char*, const kxrtc::VideoConfig*, const kxrtc::AudioConfig*,
                      kxrtc::Mp4SinkWriterObserver*) override {
    return true;
  }
  void StopStreaming() override {}
  bool SetNewInputVideoAttributes(uint32_t width, uint32_t height, int32_t rotation) override {
    digest_.AddAttributes(width, height, rotation);
    return true;
  }
  bool PushVideoSample(int64_t timestamp_us, const uint8_t*, uint32_t) override {
    digest_.AddVideo(timestamp_us);
    ++video_samples_;
    return true;
  }
  bool PushAudioSample(int64_t timestamp_us, const uint8_t*, uint32_t size) override {
    digest_.AddAudio(timestamp_us, size);
    ++audio_samples_;
    return true;
  }
  bool SetTRVVlogPath(const char*) override { return true; }
  bool SetD3dManger(void*, void*) override { return true; }
  bool SetPreferHW(bool) override { return true; }
  bool SetDx9Caps(int) override { return true; }
  bool GetDx9Caps(int*) override { return false; }
  bool GetDx9CapsType(int*) override { return false; }

  void Store(DryRunResult* result) const {
    result->call_digest = digest_.value();
    result->video_samples = video_samples_;
    result->audio_samples = audio_samples_;
  }

 private:
  CallDigest digest_;
  uint64_t video_samples_ = 0;
  uint64_t audio_samples_ = 0;
};

class CountingFactory final : public kxrtc::MediaComponentFactory {
 public:
  explicit CountingFactory(CountingSink* sink) : sink_(sink) {}
  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer, bool) override {
    *writer = sink_;
    return true;
  }
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter*) override {}

 private:
  CountingSink* sink_;
};

class EndObserver final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  void OnTranscodeProgress(uint32_t, uint32_t) override {}
  void OnTranscodeCompleted() override { End(0); }
  void OnTranscodeError(int32_t error_code) override { End(error_code); }

  int32_t Wait() {
    std::unique_lock<std::mutex> hold(lock_);
    ended_.wait(hold, [this] { return has_ended_; });
    return error_code_;
  }

 private:
  void End(int32_t error_code) {
    const std::lock_guard<std::mutex> hold(lock_);
    if (!has_ended_) error_code_ = error_code;
    has_ended_ = true;
    ended_.notify_all();
  }

  std::mutex lock_;
  std::condition_variable ended_;
  bool has_ended_ = false;
  int32_t error_code_ = 0;
};

// Why the replay is not run; empty when it may.
std::string ReasonToSkip(const RecordSummary& summary) {
  if (!summary.replay.can_start) return summary.replay.failure;
  if (summary.findings.count(FindingCode::kFileChanged) > 0) return "the record changes";
  if (summary.findings.count(FindingCode::kDescriptorTooLarge) > 0) {
    return "the descriptor is too large";
  }
  if (summary.largest_frame > kMaxFrameBytes) {
    return Text("a frame of %s would be held in memory", BytesText(summary.largest_frame).c_str());
  }
  return ReplayObstacle(summary.folder);
}

}  // namespace

DryRunResult RunReplay(const std::string& folder) {
  CountingSink sink;
  CountingFactory factory(&sink);
  EndObserver observer;
  DryRunResult result;
  void* handle = nullptr;
  CreateSpeakerRecordTranscoder(&handle);
  auto* transcoder = static_cast<kxrtc::SpeakerRecordTranscoder*>(handle);
  const bool started = transcoder->StartTranscoding(folder.c_str(), "", &observer, &factory);
  result.error_code = observer.Wait();
  result.completed = started && result.error_code == 0;
  ReleaseSpeakerRecordTranscoder(handle);
  sink.Store(&result);
  return result;
}

void CompareWithReplay(RecordSummary* summary) {
  const std::string reason = ReasonToSkip(*summary);
  if (!reason.empty()) {
    summary->findings.Add(FindingCode::kReplaySkipped, std::nullopt,
                          "the replay was not run, what follows is predicted only: " + reason);
    return;
  }
  ReplayPrediction& prediction = summary->replay;
  const DryRunResult result = RunReplay(summary->folder);
  prediction.has_dry_run = true;
  // Without a start nothing was pushed, and there is nothing to compare.
  const bool started = result.error_code == 0 || result.error_code == kxrtc::kTranscodeErrorReplay;
  if (started &&
      (result.completed != prediction.completes || result.call_digest != prediction.call_digest ||
       result.video_samples != prediction.video_samples ||
       result.audio_samples != prediction.audio_samples)) {
    summary->findings.Add(
        FindingCode::kReplayMismatch, std::nullopt,
        Text("the replay pushed %llu pictures and %llu audio frames, predicted were %llu and %llu",
             static_cast<unsigned long long>(result.video_samples),
             static_cast<unsigned long long>(result.audio_samples),
             static_cast<unsigned long long>(prediction.video_samples),
             static_cast<unsigned long long>(prediction.audio_samples)));
  }
  if (!started) {
    prediction.completes = false;
    prediction.failure = Text("the replay does not start (error %d)", result.error_code);
  }
}

}  // namespace kxrtc_host
