// One transcoding from start to exit status, driven through the library's exported interface.
#ifndef TOOLS_KXRTC_TRANSCODE_RUN_H_
#define TOOLS_KXRTC_TRANSCODE_RUN_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "host/media_component_factory_imp.h"
#include "host/record_outline.h"
#include "kxrtc/recording/speaker_record_transcoder.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/progress_report.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/tool_log.h"

namespace kxrtc_tool {

struct TranscodeOptions {
  std::string record_dir;
  std::string output;
  kxrtc_host::VideoMode video_mode = kxrtc_host::VideoMode::kEncode;
  std::string preset;
  bool force = false;  // Replace an existing output.
  bool quiet = false;
  bool json = false;
  bool sync = true;
  bool prefer_hardware = true;
};

// Threads: the main thread runs it; the transcoder's callbacks come on its worker thread.
class TranscodeRun final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  explicit TranscodeRun(const TranscodeOptions& options);

  // Blocks until the file is finished, a failure or Ctrl-C.
  ExitStatus Run();

  void OnTranscodeProgress(uint32_t progress, uint32_t position) override;
  void OnTranscodeCompleted() override;
  void OnTranscodeError(int32_t error_code) override;

 private:
  kxrtc_host::Mp4SinkWriterOptions WriterOptions() const;
  void WaitForEnd(const kxrtc_host::MediaComponentFactoryImp& factory);
  void ShowProgress(int64_t media_us);
  ExitStatus Settle(const kxrtc_host::Mp4WriterStatus& status);
  ExitStatus SettleFailure(const kxrtc_host::Mp4WriterStatus& status);
  ExitStatus FailDamaged(const std::string& cause);
  ExitStatus Fail(ExitStatus exit_status, const std::string& text);
  void Warn(const std::string& text);
  void TellDone(const kxrtc_host::Mp4WriterStatus& status, ExitStatus exit_status) const;
  int64_t ElapsedUs() const;

  const TranscodeOptions options_;
  const std::string folder_;  // With its trailing separator.
  StopSignals signals_;       // Before anything that starts a thread.
  ToolLog log_;
  ProgressReport progress_;
  std::chrono::steady_clock::time_point start_;
  bool has_outline_ = false;
  kxrtc_host::RecordOutline outline_;
  std::atomic<uint32_t> percent_{0};
  std::atomic<bool> completed_{false};
  std::atomic<int32_t> error_code_{0};  // The first one.
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TRANSCODE_RUN_H_
