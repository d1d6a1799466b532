// A transcoder for records that may only be read, as on a read-only medium or of another user: the
// library's opens the files of a record for writing too. It opens them for reading and is otherwise
// used like the library's.
#ifndef HOST_REPLAY_READ_ONLY_TRANSCODER_H_
#define HOST_REPLAY_READ_ONLY_TRANSCODER_H_

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "kx_utility/runnable.h"
#include "kx_utility/thread.h"
#include "kxrtc/recording/media_component_factory.h"
#include "kxrtc/recording/mp4_sink_writer.h"
#include "kxrtc/recording/speaker_record_transcoder.h"
#include "record/index/record_files.h"

namespace kxrtc_host {

// Order, threads and error codes are those of the interface.
class ReadOnlyTranscoder final : public kxrtc::SpeakerRecordTranscoder,
                                 private kxrtc::Mp4SinkWriterObserver,
                                 private kx_utility::Runnable {
 public:
  ReadOnlyTranscoder() = default;
  ~ReadOnlyTranscoder() override { (void)StopTranscoding(); }

  bool EstimateOutputSize(const char* media_record_folder_path, long long* size) override;
  bool StartTranscoding(const char* media_record_folder_path, const char* output_path,
                        kxrtc::SpeakerRecordTranscoderObserver* observer,
                        kxrtc::MediaComponentFactory* factory) override;
  bool PauseTranscoding() override { return writer_ != nullptr; }
  bool ResumeTranscoding() override { return writer_ != nullptr; }
  bool StopTranscoding() override;
  bool SetTRVVlogPath(const char* log_path) override;
  bool SetD3dManger(void* d3d11m, void* d3d9m) override;
  bool SetPreferHW(bool preferHW) override;
  bool SetDx9Caps(int caps) override;
  bool GetDx9Caps(int* caps) override;
  bool GetDx9CapsType(int* type) override;

 private:
  bool OpenRecord(const std::string& folder, uint32_t* channel_count, bool* is_desktop);
  bool StartWriter(const char* output_path, uint32_t channel_count, bool is_desktop);
  bool StartWorker();
  bool Replay();
  void NotifyError(int32_t error_code);

  void Run(kx_utility::Thread* thread) override;
  void Stop() override { stop_requested_.store(true, std::memory_order_release); }

  void OnStateChanged(kxrtc::MediaComponentState /*state*/) override {}
  void OnError(kxrtc::Mp4SinkWriterErrorCode error_code) override;
  void OnEvent(unsigned int /*event_code*/, void* /*p1*/, void* /*p2*/) override {}

  std::string log_path_;
  void* d3d11_manager_ = nullptr;
  void* d3d9_manager_ = nullptr;
  bool prefers_hardware_ = true;
  std::optional<RecordFiles> files_;
  kxrtc::MediaComponentFactory* factory_ = nullptr;
  kxrtc::Mp4SinkWriter* writer_ = nullptr;
  std::atomic<kxrtc::SpeakerRecordTranscoderObserver*> observer_{nullptr};
  std::atomic<bool> is_started_{false};  // The writer's errors are told from then on.
  std::atomic<bool> stop_requested_{false};
  kx_utility::Thread worker_;  // The last member: it uses the rest.
};

}  // namespace kxrtc_host

#endif  // HOST_REPLAY_READ_ONLY_TRANSCODER_H_
