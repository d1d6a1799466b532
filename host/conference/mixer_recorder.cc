#include "host/conference/mixer_recorder.h"

#include "host/conference/thread_priority.h"
#include "kx_utility/failure_log.h"

namespace kxrtc_host {
namespace {

// The room is mixed ahead of the clock by the delay of the encoder. So a frame is delivered at the
// time of its sound, like a picture.
constexpr int64_t kLeadSamples = 2 * static_cast<int64_t>(kAudioBlockSamples);

class AdtsFrame final : public kxrtc::EncodedAudioFrame {
 public:
  AdtsFrame(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint32_t GetLength() override { return static_cast<uint32_t>(size_); }
  const uint8_t* GetData() override { return data_; }

 private:
  const uint8_t* data_;
  size_t size_;
};

}  // namespace

MixerRecorder::MixerRecorder(AudioRoom* room, const ConferenceClock* clock, MediaTap* tap)
    : room_(room), clock_(clock), tap_(tap), thread_([this] { Run(); }) {}

MixerRecorder::~MixerRecorder() {
  stop_.Raise();
  thread_.join();
}

bool MixerRecorder::Start(int mode, int source, kxrtc::AudioMixerRecorderSink* sink) {
  if (mode != kxrtc::kAudioMixerMode || sink == nullptr) return false;
  if (source != kxrtc::kAudioMixerSourceRemote && source != kxrtc::kAudioMixerSourceAll) {
    return false;
  }
  Delivery delivery = CurrentDelivery();
  if (delivery.encoder == nullptr) {
    delivery.encoder = std::make_shared<AacEncoder>();
    std::string error;
    if (!delivery.encoder->Open(kBitRate, &error)) {
      kx_utility::LogFormatted(kx_utility::LS_ERROR, kx_utility::Here(), "%s", error.c_str());
      return false;
    }
  }
  delivery.sink = sink;
  delivery.with_local = source == kxrtc::kAudioMixerSourceAll;
  const std::lock_guard<std::mutex> guard(lock_);
  delivery_ = std::move(delivery);
  return true;
}

bool MixerRecorder::Stop() {
  std::unique_lock<std::mutex> guard(lock_);
  delivery_ = Delivery();
  delivered_block_.wait(guard, [this] { return !delivering_; });
  return true;
}

bool MixerRecorder::GetAudioFormat(uint32_t* channels, uint32_t* sample_rate, uint32_t* bit_rate) {
  *channels = kAudioChannels;
  *sample_rate = kAudioSampleRate;
  *bit_rate = kBitRate;
  return true;
}

MixerRecorder::Delivery MixerRecorder::CurrentDelivery() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return delivery_;
}

bool MixerRecorder::IsRunning() const { return CurrentDelivery().encoder != nullptr; }

MixerRecorder::Delivery MixerRecorder::BeginDelivery() {
  const std::lock_guard<std::mutex> guard(lock_);
  delivering_ = delivery_.encoder != nullptr;
  return delivery_;
}

void MixerRecorder::EndDelivery(bool encoder_failed) {
  {
    const std::lock_guard<std::mutex> guard(lock_);
    delivering_ = false;
    if (encoder_failed) delivery_ = Delivery();
  }
  delivered_block_.notify_all();
}

// The recorder is called without a lock.
bool MixerRecorder::Deliver(const Delivery& delivery, const float* block) {
  return delivery.encoder->Encode(block, [&](const uint8_t* data, size_t size) {
    if (tap_ != nullptr) tap_->OnAudioSent(data, size);
    AdtsFrame frame(data, size);
    (void)delivery.sink->OnEncodedData(&frame);  // A recorder that has ended refuses it.
    delivered_.fetch_add(1, std::memory_order_relaxed);
  });
}

// The deadline of each block is counted in samples from the first block, so rounding errors do not
// add up.
void MixerRecorder::Run() {
  AskForPunctualThread();
  float block[kAudioBlockFloats];
  int64_t next = SampleAt(clock_->NowUs()) + kLeadSamples;
  while (!stop_.WaitUntil(clock_->At(TimeOfSample(next - kLeadSamples)))) {
    room_->Mix(next, CurrentDelivery().with_local, block);
    const Delivery delivery = BeginDelivery();
    if (delivery.encoder != nullptr) {
      const bool delivered = Deliver(delivery, block);
      EndDelivery(!delivered);
      if (!delivered) (void)kx_utility::FailedIn("AacEncoder::Encode");
    }
    next += static_cast<int64_t>(kAudioBlockSamples);
  }
}

}  // namespace kxrtc_host
