// Watches a transcoder at work, on a thread that also waits for signals.
#ifndef TOOLS_KXRTC_TRANSCODER_WATCH_H_
#define TOOLS_KXRTC_TRANSCODER_WATCH_H_

#include <atomic>
#include <cstdint>
#include <functional>

#include "kxrtc/recording/speaker_record_transcoder.h"
#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {

// Threads: the callbacks come on the transcoder's worker thread; the rest belongs to the thread of
// the signals.
class TranscoderWatch final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  explicit TranscoderWatch(StopSignals* signals) : signals_(signals) {}  // Borrowed.

  // Until all is replayed, something failed, or a signal came. Calls `each_time` often enough to
  // show progress.
  void WaitForEnd(const std::function<void()>& each_time);

  // Stops the transcoder, which finishes the file. That of a large one takes a while, so `discard`
  // is called when a signal comes.
  void Finish(kxrtc::SpeakerRecordTranscoder* transcoder, const std::function<void()>& discard);

  int percent() const { return static_cast<int>(percent_.load(std::memory_order_relaxed)); }
  // Of the first failure; 0: none.
  int32_t error_code() const { return error_code_.load(std::memory_order_acquire); }

  void OnTranscodeProgress(uint32_t progress, uint32_t position) override;
  void OnTranscodeCompleted() override;
  void OnTranscodeError(int32_t error_code) override;

 private:
  StopSignals* const signals_;
  std::atomic<uint32_t> percent_{0};
  std::atomic<bool> completed_{false};
  std::atomic<int32_t> error_code_{0};
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TRANSCODER_WATCH_H_
