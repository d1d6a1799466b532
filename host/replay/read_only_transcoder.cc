#include "host/replay/read_only_transcoder.h"

#include <system_error>

#include "host/replay/record_replay.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/stop_watch.h"
#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/index/descriptor_loading.h"
#include "record/predict/size_estimate.h"

namespace kxrtc_host {
namespace {

using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::Succeeds;

constexpr int64_t kProgressIntervalMs = 1000;

const char* PathOrEmpty(const char* path) { return path == nullptr ? "" : path; }

kxrtc::VideoConfig WantedVideo(bool is_desktop) {
  const kxrtc::VideoSettings settings = kxrtc::VideoSettingsFor(is_desktop);
  kxrtc::VideoConfig config;
  config.format = kxrtc::kVideoFormatCode;
  config.width = settings.width;
  config.height = settings.height;
  config.frame_rate = settings.frame_rate;
  config.bit_rate_kbps = settings.bit_rate_kbps;
  return config;
}

}  // namespace

bool ReadOnlyTranscoder::EstimateOutputSize(const char* media_record_folder_path, long long* size) {
  if (size == nullptr) return Failed("parameters are nullptr");
  *size = 0;
  return Succeeds([&] {
    RecordFiles files;
    files.Open(PathOrEmpty(media_record_folder_path));
    const std::optional<uint64_t> bytes = EstimateMp4Bytes(files.descriptor);
    if (!bytes) return FailedIn("EstimateMp4Bytes");
    *size = static_cast<long long>(*bytes);
    return true;
  });
}

bool ReadOnlyTranscoder::StartTranscoding(const char* media_record_folder_path,
                                          const char* output_path,
                                          kxrtc::SpeakerRecordTranscoderObserver* observer,
                                          kxrtc::MediaComponentFactory* factory) {
  (void)StopTranscoding();
  observer_.store(observer, std::memory_order_release);
  factory_ = factory;
  uint32_t channel_count = 0;
  bool is_desktop = false;
  if (!Succeeds([&] {
        return OpenRecord(PathOrEmpty(media_record_folder_path), &channel_count, &is_desktop);
      })) {
    NotifyError(kxrtc::kTranscodeErrorOpenRecord);
    return FailedIn("OpenRecord");
  }
  if (!StartWriter(PathOrEmpty(output_path), channel_count, is_desktop)) {
    NotifyError(kxrtc::kTranscodeErrorStartWriter);
    return FailedIn("StartWriter");
  }
  is_started_.store(true, std::memory_order_release);
  if (!Succeeds([this] { return StartWorker(); })) {
    is_started_.store(false, std::memory_order_release);
    NotifyError(kxrtc::kTranscodeErrorReplay);
    return FailedIn("StartWorker");
  }
  return true;
}

bool ReadOnlyTranscoder::OpenRecord(const std::string& folder, uint32_t* channel_count,
                                    bool* is_desktop) {
  LogFormatted(kx_utility::LS_INFO, Here(), "replaying without permission to write: %s",
               folder.c_str());
  files_.emplace();
  files_->Open(folder);
  if (const std::string obstacle = ReplayObstacle(*files_); !obstacle.empty()) {
    return Failed(obstacle.c_str());
  }
  kxrtc::SpeakerRecordDescReader reader;
  kxrtc::SpeakerRecordOverall overall;
  if (!LoadDescriptor(files_->descriptor, &reader)) return FailedIn("LoadDescriptor");
  if (!reader.GetSpeakerRecordOverall(&overall)) return FailedIn("GetSpeakerRecordOverall");
  *channel_count = overall.audio_channel_count;
  *is_desktop = overall.contain_desktop != 0;
  return true;
}

bool ReadOnlyTranscoder::StartWriter(const char* output_path, uint32_t channel_count,
                                     bool is_desktop) {
  if (factory_ == nullptr || !factory_->CreateMp4SinkWriter(&writer_, is_desktop)) {
    writer_ = nullptr;  // Whatever the factory left there was not handed out.
  }
  if (writer_ == nullptr) return FailedIn("factory_->CreateMp4SinkWriter");
  // A writer that refuses a setting still writes, so the results do not matter here.
  (void)writer_->SetTRVVlogPath(log_path_.c_str());
  if (d3d11_manager_ != nullptr || d3d9_manager_ != nullptr) {
    (void)writer_->SetD3dManger(d3d11_manager_, d3d9_manager_);
  }
  (void)writer_->SetPreferHW(prefers_hardware_);
  const kxrtc::VideoConfig video = WantedVideo(is_desktop);
  const kxrtc::AudioConfig audio = {kxrtc::kAudioFormatCode, kxrtc::kAudioConfigReserved,
                                    channel_count};
  return writer_->StartStreaming(output_path, &video, &audio, this) ||
         FailedIn("writer_->StartStreaming");
}

bool ReadOnlyTranscoder::StartWorker() {
  try {
    return worker_.Start(this);
  } catch (const std::system_error& error) {
    return Failed(error.what());
  }
}

bool ReadOnlyTranscoder::StopTranscoding() {
  is_started_.store(false, std::memory_order_release);
  worker_.Stop();
  stop_requested_.store(false, std::memory_order_release);
  if (writer_ != nullptr) {
    writer_->StopStreaming();
    factory_->ReleaseMp4SinkWriter(writer_);
    writer_ = nullptr;
  }
  factory_ = nullptr;
  observer_.store(nullptr, std::memory_order_release);
  files_.reset();
  return true;
}

void ReadOnlyTranscoder::Run(kx_utility::Thread* /*thread*/) {
  const bool done = Succeeds([this] { return Replay(); });
  if (stop_requested_.load(std::memory_order_acquire)) return;
  if (!done) {
    NotifyError(kxrtc::kTranscodeErrorReplay);
  } else if (auto* observer = observer_.load(std::memory_order_acquire)) {
    observer->OnTranscodeCompleted();
  }
}

bool ReadOnlyTranscoder::Replay() {
  RecordReplay replay(&*files_, writer_);
  kx_utility::StopWatch watch;
  while (!stop_requested_.load(std::memory_order_acquire)) {
    const RecordReplay::Step step = replay.Next();
    if (step == RecordReplay::Step::kEnd) return true;
    if (step == RecordReplay::Step::kFailed) return FailedIn("Replay");
    auto* const observer = observer_.load(std::memory_order_acquire);
    if (observer == nullptr || watch.TimeInMilliseconds() <= kProgressIntervalMs) continue;
    const uint64_t position = replay.position();
    observer->OnTranscodeProgress(static_cast<uint32_t>(position * 100 / files_->index.size()),
                                  static_cast<uint32_t>(position));
    watch.Restart();
  }
  return true;  // A stop is not a failure.
}

void ReadOnlyTranscoder::NotifyError(int32_t error_code) {
  if (auto* observer = observer_.load(std::memory_order_acquire)) {
    observer->OnTranscodeError(error_code);
  }
}

void ReadOnlyTranscoder::OnError(kxrtc::Mp4SinkWriterErrorCode error_code) {
  LogFormatted(kx_utility::LS_WARNING, Here(), "error_code = %d", static_cast<int>(error_code));
  if (is_started_.load(std::memory_order_acquire) &&
      error_code == kxrtc::kMp4SinkWriterFatalError) {
    NotifyError(kxrtc::kTranscodeErrorWriter);
  }
}

bool ReadOnlyTranscoder::SetTRVVlogPath(const char* log_path) {
  return Succeeds([&] {
    log_path_ = PathOrEmpty(log_path);
    return true;
  });
}

bool ReadOnlyTranscoder::SetD3dManger(void* d3d11m, void* d3d9m) {
  d3d11_manager_ = d3d11m;
  d3d9_manager_ = d3d9m;
  return true;
}

bool ReadOnlyTranscoder::SetPreferHW(bool preferHW) {
  prefers_hardware_ = preferHW;
  return true;
}

bool ReadOnlyTranscoder::SetDx9Caps(int caps) {
  return writer_ != nullptr && writer_->SetDx9Caps(caps);
}

bool ReadOnlyTranscoder::GetDx9Caps(int* caps) {
  return writer_ != nullptr && writer_->GetDx9Caps(caps);
}

bool ReadOnlyTranscoder::GetDx9CapsType(int* type) {
  return writer_ != nullptr && writer_->GetDx9CapsType(type);
}

}  // namespace kxrtc_host
