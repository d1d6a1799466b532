#include "tools/kxrtc/transcoder_watch.h"

#include <chrono>
#include <thread>

namespace kxrtc_tool {
namespace {

constexpr std::chrono::milliseconds kRedrawInterval(200);

}  // namespace

void TranscoderWatch::WaitForEnd(const std::function<void()>& each_time) {
  while (!completed_.load(std::memory_order_acquire) && error_code() == 0 &&
         signals_->signal_number() == 0) {
    signals_->Wait(kRedrawInterval);
    each_time();
  }
}

void TranscoderWatch::Finish(kxrtc::SpeakerRecordTranscoder* transcoder,
                             const std::function<void()>& discard) {
  std::atomic<bool> finished{false};
  std::thread finisher([&] {
    transcoder->StopTranscoding();
    finished.store(true, std::memory_order_release);
    signals_->Wake();
  });
  while (!finished.load(std::memory_order_acquire)) {
    signals_->Wait(kRedrawInterval);
    if (signals_->signal_number() != 0) discard();
  }
  finisher.join();
}

void TranscoderWatch::OnTranscodeProgress(uint32_t progress, uint32_t /*position*/) {
  percent_.store(progress, std::memory_order_relaxed);
}

void TranscoderWatch::OnTranscodeCompleted() {
  completed_.store(true, std::memory_order_release);
  signals_->Wake();
}

void TranscoderWatch::OnTranscodeError(int32_t error_code) {
  // When the writer fails, the replay fails too: the first code is the cause.
  int32_t none = 0;
  error_code_.compare_exchange_strong(none, error_code, std::memory_order_acq_rel);
  signals_->Wake();
}

}  // namespace kxrtc_tool
