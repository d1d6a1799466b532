#include "kxrtc/recording/speaker_record_transcoder_imp.h"

#include <system_error>

#include "kx_utility/BaseUtility.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/fileutils.h"

namespace kxrtc {
namespace {

using kx_utility::check_pointers;
using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LS_INFO;
using kx_utility::LS_WARNING;
using kx_utility::SequentialReader;
using kx_utility::Succeeds;

VideoConfig MakeVideoConfig(bool is_desktop) {
  const VideoSettings settings = VideoSettingsFor(is_desktop);
  VideoConfig config;
  config.format = kVideoFormatCode;
  config.width = settings.width;
  config.height = settings.height;
  config.frame_rate = settings.frame_rate;
  config.bit_rate_kbps = settings.bit_rate_kbps;
  return config;
}

SequentialReader OpenForReading(const std::string& folder, const char* extension) {
  return SequentialReader(kx_utility::File::Open(SpeakerRecordFilePath(folder, extension)));
}

// A null path names no file: it fails where an empty one does.
const char* PathOrEmpty(const char* path) { return path == nullptr ? "" : path; }

}  // namespace

SpeakerRecordTranscoderImp::~SpeakerRecordTranscoderImp() {
  Finalize();
  LogFormatted(LS_INFO, Here(), "Out");
}

bool SpeakerRecordTranscoderImp::EstimateOutputSize(const char* media_record_folder_path,
                                                    long long* size) {
  if (!check_pointers(1, size)) return Failed("parameters are nullptr");
  *size = 0;
  SpeakerRecordDescReader desc_reader;
  const auto load = [&desc_reader, folder = PathOrEmpty(media_record_folder_path)] {
    return desc_reader.Initialize(SpeakerRecordFilePath(folder, kDescriptorFileExtension));
  };
  if (!Succeeds(load)) return FailedIn("desc_reader_.Initialidesc_readerze");  // sic
  SpeakerRecordOverall overall;
  if (!desc_reader.GetSpeakerRecordOverall(&overall)) return FailedIn("GetSpeakerRecordOverall");
  uint64_t audio_frame_count = 0;
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    SpeakerRecordSession session;
    if (!desc_reader.GetSpeakerRecordSession(i, &session)) {
      return FailedIn("desc_reader.GetSpeakerRecordSession");
    }
    audio_frame_count += session.session_audio_frame_count;
  }
  *size = EstimateMp4Size(audio_frame_count, overall.contain_desktop != 0);
  return true;
}

bool SpeakerRecordTranscoderImp::StartTranscoding(const char* media_record_folder_path,
                                                  const char* output_path,
                                                  SpeakerRecordTranscoderObserver* observer,
                                                  MediaComponentFactory* factory) {
  LogFormatted(LS_INFO, Here(), "In, media_record_folder_path = %s, output_path = %s",
               PathOrEmpty(media_record_folder_path), PathOrEmpty(output_path));
  if (!Initialize(PathOrEmpty(media_record_folder_path), PathOrEmpty(output_path), observer,
                  factory)) {
    return FailedIn("Initialize");
  }
  LogFormatted(LS_INFO, Here(), "Out");
  return true;
}

bool SpeakerRecordTranscoderImp::Initialize(const char* media_record_folder_path,
                                            const char* output_path,
                                            SpeakerRecordTranscoderObserver* observer,
                                            MediaComponentFactory* factory) {
  LogFormatted(LS_INFO, Here(), "In, media_record_folder_path = %s, output_path = %s",
               media_record_folder_path, output_path);
  Finalize();
  observer_.store(observer, std::memory_order_release);
  mc_factory_ = factory;
  if (!Succeeds([&] { return OpenSpeakerRecord(media_record_folder_path); })) {
    NotifyError(kTranscodeErrorOpenRecord);
    return FailedIn("OpenSpeakerRecord");
  }
  if (!CreateMp4SinkWriter(output_path, overall_.contain_desktop != 0)) {
    NotifyError(kTranscodeErrorStartWriter);
    return FailedIn("CreateMp4SinkWriter");
  }
  // Set before the worker runs: a writer that fails at the first sample is reported already.
  initialized_.store(true, std::memory_order_release);
  if (!Succeeds([this] { return StartWorker(); })) {
    initialized_.store(false, std::memory_order_release);
    NotifyError(kTranscodeErrorReplay);
    return FailedIn("worker_.Start");
  }
  LogFormatted(LS_INFO, Here(), "Out");
  return true;
}

void SpeakerRecordTranscoderImp::Finalize() noexcept {
  LogFormatted(LS_INFO, Here(), "In");
  initialized_.store(false, std::memory_order_release);
  worker_.Stop();
  stop_requested_.store(false, std::memory_order_release);
  video_pushed_ = false;
  if (mp4_sink_writer_ != nullptr) {
    mp4_sink_writer_->StopStreaming();
    mc_factory_->ReleaseMp4SinkWriter(mp4_sink_writer_);
    mp4_sink_writer_ = nullptr;
  }
  mc_factory_ = nullptr;
  observer_.store(nullptr, std::memory_order_release);
  index_file_size_ = 0;
  for (SequentialReader* file : {&video_file_, &audio_file_, &index_file_}) {
    if (file->IsOpen()) (void)file->Close();  // Opened for reading: nothing can be lost.
  }
  desc_reader_.Finalize();
  overall_ = {};
  video_attributes_ = {};
  LogFormatted(LS_INFO, Here(), "Out");
}

bool SpeakerRecordTranscoderImp::OpenSpeakerRecord(const std::string& folder) {
  index_file_size_ = kx_utility::GetFileSize(SpeakerRecordFilePath(folder, kIndexFileExtension));
  video_file_ = OpenForReading(folder, kVideoFileExtension);
  if (!video_file_.IsOpen()) return Failed("failed to open video file");
  audio_file_ = OpenForReading(folder, kAudioFileExtension);
  if (!audio_file_.IsOpen()) return Failed("failed to open audio file");
  index_file_ = OpenForReading(folder, kIndexFileExtension);
  // Only a regular file ends: reading a pipe in its place would wait for ever.
  size_t present_size = 0;
  if (!index_file_.IsOpen() || !index_file_.GetSize(&present_size)) {
    return Failed("failed to open index file");
  }
  if (!desc_reader_.Initialize(SpeakerRecordFilePath(folder, kDescriptorFileExtension))) {
    return FailedIn("desc_reader_.Initialize");
  }
  if (!desc_reader_.GetSpeakerRecordOverall(&overall_)) return FailedIn("GetSpeakerRecordOverall");
  return true;
}

bool SpeakerRecordTranscoderImp::CreateMp4SinkWriter(const char* output_path,
                                                     bool is_desktop) noexcept {
  if (mc_factory_ == nullptr || !mc_factory_->CreateMp4SinkWriter(&mp4_sink_writer_, is_desktop)) {
    mp4_sink_writer_ = nullptr;  // Whatever the factory left there was not handed out.
  }
  if (mp4_sink_writer_ == nullptr) return FailedIn("mc_factory_->CreateMp4SinkWriter");
  // A writer that refuses a setting still writes, so the results do not matter here.
  (void)mp4_sink_writer_->SetTRVVlogPath(log_path_.c_str());
  if (d3d11_manager_ != nullptr || d3d9_manager_ != nullptr) {
    (void)mp4_sink_writer_->SetD3dManger(d3d11_manager_, d3d9_manager_);
  }
  (void)mp4_sink_writer_->SetPreferHW(prefer_hw_);
  const VideoConfig video = MakeVideoConfig(is_desktop);
  const AudioConfig audio = {kAudioFormatCode, kAudioConfigReserved, overall_.audio_channel_count};
  if (!mp4_sink_writer_->StartStreaming(output_path, &video, &audio, this)) {
    return FailedIn("mp4_sink_writer_->StartStreaming");
  }
  return true;
}

bool SpeakerRecordTranscoderImp::StartWorker() {
  try {
    return worker_.Start(this);
  } catch (const std::system_error& error) {
    return Failed(error.what());
  }
}

void SpeakerRecordTranscoderImp::NotifyError(TranscodeErrorCode error_code) noexcept {
  if (auto* observer = observer_.load(std::memory_order_acquire)) {
    observer->OnTranscodeError(error_code);
  }
}

bool SpeakerRecordTranscoderImp::PauseTranscoding() {
  LogFormatted(LS_INFO, Here(), "In");
  if (!initialized_.load(std::memory_order_acquire)) return Failed("non-inited");
  // Intended: the replay goes on.
  LogFormatted(LS_INFO, Here(), "Out");
  return true;
}

bool SpeakerRecordTranscoderImp::ResumeTranscoding() {
  LogFormatted(LS_INFO, Here(), "In");
  if (!initialized_.load(std::memory_order_acquire)) return Failed("non-inited");
  LogFormatted(LS_INFO, Here(), "Out");
  return true;
}

bool SpeakerRecordTranscoderImp::StopTranscoding() {
  LogFormatted(LS_INFO, Here(), "In");
  Finalize();
  LogFormatted(LS_INFO, Here(), "Out");
  return true;
}

bool SpeakerRecordTranscoderImp::SetTRVVlogPath(const char* log_path) {
  LogFormatted(LS_INFO, Here(), "In, log_path = %s", PathOrEmpty(log_path));
  return Succeeds([&] {
    log_path_ = PathOrEmpty(log_path);
    return true;
  });
}

bool SpeakerRecordTranscoderImp::SetD3dManger(void* d3d11m, void* d3d9m) {
  LogFormatted(LS_INFO, Here(), "In, d3d11m = %p, d3d9m = %p", d3d11m, d3d9m);
  d3d11_manager_ = d3d11m;
  d3d9_manager_ = d3d9m;
  return true;
}

bool SpeakerRecordTranscoderImp::SetPreferHW(bool preferHW) {
  LogFormatted(LS_INFO, Here(), "In, preferHW = %d", preferHW);
  prefer_hw_ = preferHW;
  return true;
}

bool SpeakerRecordTranscoderImp::SetDx9Caps(int caps) noexcept {
  LogFormatted(LS_INFO, Here(), "In");
  if (!check_pointers(1, mp4_sink_writer_)) return Failed("parameters are nullptr");
  return mp4_sink_writer_->SetDx9Caps(caps);
}

bool SpeakerRecordTranscoderImp::GetDx9Caps(int* caps) noexcept {
  LogFormatted(LS_INFO, Here(), "In");
  if (!check_pointers(1, mp4_sink_writer_)) return Failed("parameters are nullptr");
  return mp4_sink_writer_->GetDx9Caps(caps);
}

bool SpeakerRecordTranscoderImp::GetDx9CapsType(int* type) noexcept {
  LogFormatted(LS_INFO, Here(), "In");
  if (!check_pointers(1, mp4_sink_writer_)) return Failed("parameters are nullptr");
  return mp4_sink_writer_->GetDx9CapsType(type);
}

void SpeakerRecordTranscoderImp::Run(kx_utility::Thread* /*thread*/) noexcept {
  // An index may name a frame of 4 GiB whose bytes are there, in a sparse file for one.
  const bool done = Succeeds([this] { return TranscodeLoop(); });
  if (IsThreadStopped()) return;
  if (!done) {
    NotifyError(kTranscodeErrorReplay);
  } else if (auto* observer = observer_.load(std::memory_order_acquire)) {
    observer->OnTranscodeCompleted();
  }
}

void SpeakerRecordTranscoderImp::Stop() {
  LogFormatted(LS_INFO, Here(), "In");
  stop_requested_.store(true, std::memory_order_release);
  LogFormatted(LS_INFO, Here(), "Out");
}

void SpeakerRecordTranscoderImp::OnStateChanged(MediaComponentState state) {
  LogFormatted(LS_INFO, Here(), "state = %d", static_cast<int>(state));
}

void SpeakerRecordTranscoderImp::OnError(Mp4SinkWriterErrorCode error_code) {
  LogFormatted(LS_WARNING, Here(), "error_code = %d", static_cast<int>(error_code));
  if (!initialized_.load(std::memory_order_acquire)) {
    (void)Failed("non-inited");
  } else if (error_code == kMp4SinkWriterFatalError) {
    NotifyError(kTranscodeErrorWriter);
  }
}

void SpeakerRecordTranscoderImp::OnEvent(unsigned int event_code, void* /*parameter1*/,
                                         void* /*parameter2*/) {
  LogFormatted(LS_INFO, Here(), "event_code = %u", event_code);
}

}  // namespace kxrtc
