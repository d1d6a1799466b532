#include "tests/testing/fake_media_components.h"

#include <chrono>

#include "kxrtc/recording/icon_frames.h"
#include "tests/testing/record_builder.h"

namespace kx_testing {
namespace {

std::string Describe(const uint8_t* data, uint32_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  for (uint32_t i = 0; i < kxrtc::kIconFrameCount; ++i) {
    const kxrtc::IconFrame& icon = kxrtc::kIconFrames[i];
    if (bytes == std::string(reinterpret_cast<const char*>(icon.data), icon.size)) {
      return "icon" + std::to_string(i);
    }
  }
  if (bytes == KeyFrame()) return "key";
  if (bytes == DeltaFrame()) return "delta";
  return "size " + std::to_string(size);
}

}  // namespace

bool FakeMp4SinkWriter::Trace(const std::string& call) {
  {
    std::lock_guard<std::mutex> guard(lock_);
    calls_.push_back(call);
  }
  if (on_call) on_call(call);
  return fail_at.empty() || call.rfind(fail_at, 0) != 0;
}

bool FakeMp4SinkWriter::StartStreaming(const char* output_path, const kxrtc::VideoConfig* video,
                                       const kxrtc::AudioConfig* audio,
                                       kxrtc::Mp4SinkWriterObserver* observer) {
  observer_ = observer;
  const std::string path = output_path;
  return Trace("start " + path.substr(path.rfind('/') + 1) + " video " +
               std::to_string(video->format) + " " + std::to_string(video->width) + "x" +
               std::to_string(video->height) + " " + std::to_string(video->frame_rate) + " fps " +
               std::to_string(video->bit_rate_kbps) + " kbps " + std::to_string(video->reserved) +
               " audio " + std::to_string(audio->format) + " " + std::to_string(audio->reserved) +
               " " + std::to_string(audio->channel_count));
}

void FakeMp4SinkWriter::StopStreaming() { (void)Trace("stop"); }

bool FakeMp4SinkWriter::SetNewInputVideoAttributes(uint32_t width, uint32_t height,
                                                   int32_t rotation) {
  return Trace("attributes " + std::to_string(width) + "x" + std::to_string(height) + " r" +
               std::to_string(rotation));
}

bool FakeMp4SinkWriter::PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  return Trace("video " + std::to_string(timestamp_us) + " " + Describe(data, size));
}

bool FakeMp4SinkWriter::PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  return Trace("audio " + std::to_string(timestamp_us) + " " +
               std::string(reinterpret_cast<const char*>(data), size));
}

bool FakeMp4SinkWriter::SetTRVVlogPath(const char* log_path) {
  return Trace(std::string("log path ") + log_path);
}

bool FakeMp4SinkWriter::SetD3dManger(void* d3d11m, void* d3d9m) {
  return Trace("d3d " + std::to_string(reinterpret_cast<uintptr_t>(d3d11m)) + " " +
               std::to_string(reinterpret_cast<uintptr_t>(d3d9m)));
}

bool FakeMp4SinkWriter::SetPreferHW(bool preferHW) {
  return Trace(preferHW ? "prefer hardware" : "prefer software");
}

bool FakeMp4SinkWriter::SetDx9Caps(int caps) { return Trace("set caps " + std::to_string(caps)); }

bool FakeMp4SinkWriter::GetDx9Caps(int* caps) {
  *caps = 7;
  return Trace("get caps");
}

bool FakeMp4SinkWriter::GetDx9CapsType(int* type) {
  *type = 8;
  return Trace("get caps type");
}

std::vector<std::string> FakeMp4SinkWriter::calls() const {
  std::lock_guard<std::mutex> guard(lock_);
  return calls_;
}

std::vector<std::string> FakeMp4SinkWriter::samples() const {
  std::vector<std::string> result;
  for (const std::string& call : calls()) {
    const size_t icon = call.find(" icon");
    if (icon != std::string::npos) {
      if (call.back() == '0') result.push_back("icon" + call.substr(5, icon - 5));
    } else if (call.rfind("attributes", 0) == 0 || call.rfind("video", 0) == 0 ||
               call.rfind("audio", 0) == 0) {
      result.push_back(call);
    }
  }
  return result;
}

void FakeMp4SinkWriter::Clear() {
  std::lock_guard<std::mutex> guard(lock_);
  calls_.clear();
}

bool FakeMediaComponentFactory::CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer,
                                                    bool is_desktop) {
  calls.push_back(is_desktop ? "create desktop" : "create camera");
  *writer = stores_null ? nullptr : writer_;
  return !refuse;
}

void FakeMediaComponentFactory::ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter* writer) {
  calls.push_back(writer == writer_ ? "release" : "release of a stranger");
}

void FakeTranscoderObserver::Add(const std::string& event, bool is_end) {
  std::lock_guard<std::mutex> guard(lock_);
  events_.push_back(event);
  has_ended_ = has_ended_ || is_end;
  ended_.notify_all();
}

void FakeTranscoderObserver::OnTranscodeProgress(uint32_t progress, uint32_t position) {
  Add("progress " + std::to_string(progress) + " " + std::to_string(position), false);
}

void FakeTranscoderObserver::OnTranscodeCompleted() { Add("completed", true); }

void FakeTranscoderObserver::OnTranscodeError(int32_t error_code) {
  Add("error " + std::to_string(error_code), true);
}

bool FakeTranscoderObserver::WaitForEnd() {
  std::unique_lock<std::mutex> guard(lock_);
  return ended_.wait_for(guard, std::chrono::seconds(10), [this] { return has_ended_; });
}

std::vector<std::string> FakeTranscoderObserver::events() const {
  std::lock_guard<std::mutex> guard(lock_);
  return events_;
}

}  // namespace kx_testing
