// Turns a speaker record into an MP4 file: the least a host does.
//
//   transcode_record RECORD_DIR OUT.mp4
#include <atomic>
#include <cstdio>
#include <future>
#include <string>

#include "host/ffmpeg/ffmpeg_log.h"
#include "host/mp4/media_component_factory_imp.h"
#include "host/mp4/record_bounds.h"
#include "rtc_transcoder/api/rtc_transcoder.h"

namespace {

// The callbacks come on the transcoder's thread; the main thread waits for the end.
class Observer final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  virtual ~Observer() = default;

  void OnTranscodeProgress(uint32_t progress, uint32_t /*position*/) override {
    std::printf("%u%%\n", progress);
  }
  void OnTranscodeCompleted() override { End(0); }
  void OnTranscodeError(int32_t error_code) override { End(error_code); }

  // 0, or a kxrtc::TranscodeErrorCode.
  int32_t WaitForEnd() { return end_.get_future().get(); }

 private:
  // A writer that fails makes the replay fail as well: only the first call counts.
  void End(int32_t error_code) {
    if (!ended_.exchange(true)) end_.set_value(error_code);
  }

  std::atomic<bool> ended_{false};
  std::promise<int32_t> end_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s RECORD_DIR OUT.mp4\n", argv[0]);
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";  // File names are appended as they are.

  kxrtc_host::SendFFmpegLogToLibraryLog();
  kxrtc_host::Mp4SinkWriterOptions options;  // Encodes; see its header for the other choices.
  options.bounds = kxrtc_host::BoundsOfRecord(folder, options.video_mode);
  kxrtc_host::MediaComponentFactoryImp factory(options);
  Observer observer;

  void* created = nullptr;
  CreateSpeakerRecordTranscoder(&created);
  auto* transcoder = static_cast<kxrtc::SpeakerRecordTranscoder*>(created);
  // On false the observer was told why.
  (void)transcoder->StartTranscoding(folder.c_str(), argv[2], &observer, &factory);
  const int32_t error_code = observer.WaitForEnd();
  if (error_code != 0) factory.Discard();
  transcoder->StopTranscoding();  // Finishes the file, or removes it.
  ReleaseSpeakerRecordTranscoder(transcoder);

  const kxrtc_host::Mp4WriterStatus& status = factory.status();
  for (const std::string& warning : status.warnings) {
    std::fprintf(stderr, "warning: %s\n", warning.c_str());
  }
  if (!status.file_written) {
    std::fprintf(stderr, "error %d %s\n", error_code, status.failure_text.c_str());
    return 1;
  }
  std::printf("%s: %.3f s\n", argv[2], static_cast<double>(status.duration_us) / 1e6);
  return 0;
}
