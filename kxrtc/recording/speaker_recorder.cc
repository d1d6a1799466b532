#include "kxrtc/recording/speaker_recorder.h"

#include <new>
#include <utility>

#include "kx_utility/BaseUtility.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/thread.h"

namespace kxrtc {
namespace {

using kx_utility::CallSite;
using kx_utility::check_pointers;
using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::Here;
using kx_utility::kOutOfMemory;
using kx_utility::LogFormatted;
using kx_utility::LS_INFO;
using kx_utility::LS_WARNING;
using kx_utility::Thread;

constexpr uint32_t kEntryPollMs = 1;

struct Payload {
  uint32_t length;
  const uint8_t* data;
};

// A host's function: what it throws ends the process here.
Payload PayloadOf(EncodedAudioFrame* frame) noexcept {
  const uint32_t length = frame->GetLength();
  return {length, frame->GetData()};
}

}  // namespace

// What becomes of a call. It is logged once the entry has ended: a log sink may call the recorder
// back, and Finalize() waits for the end of every entry.
enum class SpeakerRecorder::Answer { kAccepted, kRefused, kNullArgument, kNoPayload, kNoMemory };

// An entry in progress. The order of its two steps, against the opposite order in Finalize(), makes
// sure that either the entry sees that it is refused or Finalize() waits for it.
class SpeakerRecorder::Entry {
 public:
  explicit Entry(SpeakerRecorder* recorder) : recorder_(recorder) {
    recorder_->entries_.fetch_add(1, std::memory_order_seq_cst);
    admitted_ = recorder_->initialized_.load(std::memory_order_seq_cst);
  }
  ~Entry() { recorder_->entries_.fetch_sub(1, std::memory_order_release); }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  bool admitted() const { return admitted_; }

 private:
  SpeakerRecorder* recorder_;
  bool admitted_;
};

template <typename Body>
SpeakerRecorder::Answer SpeakerRecorder::Enter(Body body) {
  const Entry entry(this);
  if (!entry.admitted()) return Answer::kRefused;
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return Answer::kNoMemory;
  }
}

bool SpeakerRecorder::IsAccepted(Answer answer, CallSite site) {
  switch (answer) {
    case Answer::kAccepted:
      return true;
    case Answer::kRefused:
      return false;
    case Answer::kNullArgument:
      return Failed("parameters are nullptr", site);
    case Answer::kNoPayload:
      // Refused as in the entry, where it must not log.
      return FramePayload().SetData(nullptr, 1) || FailedIn("frame.data.SetData", site);
    case Answer::kNoMemory:
      return Failed(kOutOfMemory, site);
  }
  return false;
}

SpeakerRecorder::SpeakerRecorder() : writer_([this] { OnShortWrite(); }) {}

SpeakerRecorder::~SpeakerRecorder() { Finalize(); }

void SpeakerRecorder::SetListener(SpeakerRecorderListener* listener) { listener_ = listener; }

bool SpeakerRecorder::Initialize(const std::string& path, AudioFactory* factory,
                                 SpeakerRecorderObserver* /*observer*/) {
  Finalize();
  if (path.empty()) {
    LogFormatted(LS_INFO, Here(), "No recording path is set.");
    return true;
  }
  if (!check_pointers(1, factory)) return Failed("parameters are nullptr");
  audio_factory_ = factory;
  writer_.SetListener(listener_);
  if (!CreateMixer()) return FailedIn("audio_factory_->CreateAudioMixerRecorder");
  try {
    if (!writer_.CreateRecordFile(path)) return FailedIn("CreateRecordFile");
    if (!writer_.CreateDescriptor(path)) return FailedIn("desc_writer_.Initialize");
  } catch (const std::bad_alloc&) {
    Finalize();
    return Failed(kOutOfMemory);
  }
  if (!tasks_.Initialize()) {
    Finalize();
    return FailedIn("task_handler_.Initialize");
  }
  stop_watch_.Restart();
  initialized_.store(true, std::memory_order_seq_cst);
  LogFormatted(LS_INFO, Here(), " success");
  return true;
}

bool SpeakerRecorder::Finalize() {
  initialized_.store(false, std::memory_order_seq_cst);
  while (entries_.load(std::memory_order_seq_cst) != 0) Thread::Sleep(kEntryPollMs);
  tasks_.Finalize();
  ReleaseMixer();
  audio_factory_ = nullptr;
  stop_watch_.Stop();
  selector_.Clear();
  recording_.store(false, std::memory_order_relaxed);
  local_mic_muted_ = false;
  writer_.Finalize();
  return true;
}

bool SpeakerRecorder::StartRecording() {
  const Answer answer = Enter([this] {
    tasks_.Push([this, ts = stop_watch_.TimeInMicroseconds()] { return ProcessStart(ts); });
    return Answer::kAccepted;
  });
  return answer == Answer::kRefused ? Failed("non-inited") : IsAccepted(answer, Here());
}

bool SpeakerRecorder::StopRecording() {
  const Answer answer = Enter([this] {
    tasks_.Push([this, ts = stop_watch_.TimeInMicroseconds()] { return ProcessStop(ts); });
    return Answer::kAccepted;
  });
  return answer == Answer::kRefused ? Failed("non-inited") : IsAccepted(answer, Here());
}

bool SpeakerRecorder::MuteLocalMicrophone(bool mute) {
  const Answer answer = Enter([this, mute] {
    tasks_.Push([this, mute] { return ProcessMute(mute); });
    return Answer::kAccepted;
  });
  return IsAccepted(answer, Here());
}

bool SpeakerRecorder::UpdateVideoSsrcMapping(bool local, const uint32_t* ssrcs,
                                             const uint32_t* user_ids,
                                             const PeerConnectionConductor::media_type* types,
                                             uint32_t count) {
  const Answer answer = Enter([&] {
    if (count != 0 && !check_pointers(3, ssrcs, user_ids, types)) return Answer::kNullArgument;
    std::vector<VideoChannelInfo> channels(count);
    for (uint32_t i = 0; i < count; ++i) channels[i] = {ssrcs[i], user_ids[i], types[i]};
    tasks_.Push(
        [this, local, channels = std::move(channels), ts = stop_watch_.TimeInMicroseconds()] {
          return ProcessVideoMapping(local, channels, ts);
        });
    return Answer::kAccepted;
  });
  return IsAccepted(answer, Here());
}

bool SpeakerRecorder::UpdateVoiceActivity(const uint32_t* user_ids, const uint8_t* speaking,
                                          uint32_t count) {
  const Answer answer = Enter([&] {
    if (count != 0 && !check_pointers(2, user_ids, speaking)) return Answer::kNullArgument;
    std::vector<VoiceActivity> activities(count);
    for (uint32_t i = 0; i < count; ++i) activities[i] = {user_ids[i], speaking[i] != 0};
    tasks_.Push([this, activities = std::move(activities), ts = stop_watch_.TimeInMicroseconds()] {
      return ProcessVoiceActivity(activities, ts);
    });
    return Answer::kAccepted;
  });
  return IsAccepted(answer, Here());
}

bool SpeakerRecorder::OnEncodedFrame(const EncodedImage* image, uint32_t ssrc) {
  const Answer answer = Enter([&] {
    if (!recording_.load(std::memory_order_relaxed)) return Answer::kAccepted;
    if (!check_pointers(1, image)) return Answer::kNullArgument;
    if (image->length != 0 && image->data == nullptr) return Answer::kNoPayload;
    RecvEncodedVideoFrame frame;
    (void)frame.data.SetData(image->data, image->length);  // Fails only for what was refused above.
    frame.timestamp_us = stop_watch_.TimeInMicroseconds();
    frame.ssrc = ssrc;
    frame.frame_type = image->frame_type;
    frame.attributes = {image->rotation, image->encoded_width, image->encoded_height};
    tasks_.Push([this, frame = std::move(frame)] { return ProcessVideoTask(frame); });
    return Answer::kAccepted;
  });
  return IsAccepted(answer, Here());
}

bool SpeakerRecorder::OnEncodedData(EncodedAudioFrame* encoded) {
  const Answer answer = Enter([&] {
    if (!recording_.load(std::memory_order_relaxed)) return Answer::kAccepted;
    if (!check_pointers(1, encoded)) return Answer::kNullArgument;
    RecvAudioFrame frame;
    frame.timestamp_us = stop_watch_.TimeInMicroseconds();
    const Payload payload = PayloadOf(encoded);
    if (payload.length != 0 && payload.data == nullptr) return Answer::kNoPayload;
    (void)frame.data.SetData(payload.data, payload.length);  // As above.
    tasks_.Push([this, frame = std::move(frame)] { return ProcessAudioTask(frame); });
    return Answer::kAccepted;
  });
  return IsAccepted(answer, Here());
}

uint32_t SpeakerRecorder::QueuedTasks() const { return tasks_.QueuedTasks(); }

void SpeakerRecorder::OnShortWrite() noexcept {
  if (observer_) observer_->OnRecordFailed();
  StopRecording();
}

bool SpeakerRecorder::ProcessStart(int64_t timestamp_us) {
  if (recording_.load(std::memory_order_relaxed)) return Failed("already running");
  if (!StartMixer()) return FailedIn("mixer_recorder_->Start");
  // Intended: the mixer stays started.
  if (!TakeAudioFormat()) return FailedIn("mixer_recorder_->GetAudioFormat");
  if (!writer_.WriteStartStreamingRecord(timestamp_us)) {
    return FailedIn("WriteStartStreamingRecord");
  }
  writer_.ForgetChannel();
  LogFormatted(LS_INFO, Here(), "start recording...");
  recording_.store(true, std::memory_order_relaxed);
  writer_.TellStarted();
  return true;
}

bool SpeakerRecorder::ProcessStop(int64_t timestamp_us) {
  if (!recording_.load(std::memory_order_relaxed)) return Failed("already stop");
  if (!StopMixer()) LogFormatted(LS_WARNING, Here(), "failed in mixer_recorder_->Stop");
  recording_.store(false, std::memory_order_relaxed);
  if (!writer_.WriteStopStreamingRecord(timestamp_us)) return FailedIn("WriteStopStreamingRecord");
  writer_.ForgetChannel();
  LogFormatted(LS_INFO, Here(), "stop recording...");
  writer_.TellStopped();
  return true;
}

bool SpeakerRecorder::ProcessMute(bool mute) {
  local_mic_muted_ = mute;
  if (!recording_.load(std::memory_order_relaxed)) return true;
  LogFormatted(LS_INFO, Here(), "new source = %d", AudioSource());
  // Starting a running mixer switches its source.
  if (!StartMixer()) return FailedIn("mixer_recorder_->Start");
  return true;
}

bool SpeakerRecorder::ProcessVideoMapping(bool local, const std::vector<VideoChannelInfo>& channels,
                                          int64_t timestamp_us) {
  return Carry(selector_.UpdateVideoMapping(local, channels, RecordedChannel()), timestamp_us,
               Here());
}

bool SpeakerRecorder::ProcessVoiceActivity(const std::vector<VoiceActivity>& activities,
                                           int64_t timestamp_us) {
  return Carry(selector_.UpdateVoiceActivity(activities, RecordedChannel()), timestamp_us, Here());
}

bool SpeakerRecorder::ProcessVideoTask(const RecvEncodedVideoFrame& frame) {
  if (!recording_.load(std::memory_order_relaxed)) return true;
  return ProcessVideoFrame(frame) || FailedIn("ProcessVideoFrame");
}

bool SpeakerRecorder::ProcessAudioTask(const RecvAudioFrame& frame) {
  if (!recording_.load(std::memory_order_relaxed)) return true;
  return writer_.WriteAudioFrame(frame) || FailedIn("ProcessAudioFrame");
}

bool SpeakerRecorder::ProcessVideoFrame(const RecvEncodedVideoFrame& frame) {
  if (frame.frame_type == kVideoFrameTypeKey &&
      !DeterminNextChannel(frame.ssrc, frame.timestamp_us)) {
    return FailedIn("DeterminNextChannel");
  }
  // While no video is recorded, the ssrc of the current channel is 0, which no channel has.
  if (frame.ssrc == 0 || frame.ssrc != writer_.current_channel().ssrc) return true;
  return writer_.WriteVideoFrame(frame) || FailedIn("WriteVideoFrame");
}

bool SpeakerRecorder::DeterminNextChannel(uint32_t key_frame_ssrc, int64_t timestamp_us) {
  const ChannelDecision decision = selector_.OnKeyFrame(key_frame_ssrc, writer_.current_channel());
  if (decision.action == ChannelDecision::Action::kUnknownChannel) {
    LogFormatted(LS_WARNING, Here(), "no available info for this key frame, key_frame_ssrc =  %u",
                 key_frame_ssrc);
    return true;
  }
  return Carry(decision, timestamp_us, Here());
}

bool SpeakerRecorder::Carry(const ChannelDecision& decision, int64_t timestamp_us, CallSite site) {
  if (decision.action != ChannelDecision::Action::kSwitch) return true;
  if (decision.message) LogFormatted(LS_INFO, site, "%s", decision.message);
  return writer_.SwitchChannel(decision.channel, decision.reason, timestamp_us) ||
         FailedIn("SwitchChannel", site);
}

bool SpeakerRecorder::CreateMixer() noexcept {
  AudioMixerRecorder* mixer = nullptr;
  if (!audio_factory_->CreateAudioMixerRecorder(&mixer) || mixer == nullptr) return false;
  mixer_recorder_ = mixer;
  return true;
}

void SpeakerRecorder::ReleaseMixer() noexcept {
  if (mixer_recorder_ == nullptr) return;
  (void)mixer_recorder_->Stop();  // Often stopped already; it is given back in any case.
  audio_factory_->ReleaseAudioMixerRecorder(mixer_recorder_);
  mixer_recorder_ = nullptr;
}

bool SpeakerRecorder::StartMixer() noexcept {
  const RecorderTaskQueue::HostCall call(&tasks_);
  return mixer_recorder_->Start(kAudioMixerMode, AudioSource(), this);
}

bool SpeakerRecorder::StopMixer() noexcept {
  const RecorderTaskQueue::HostCall call(&tasks_);
  return mixer_recorder_->Stop();
}

bool SpeakerRecorder::TakeAudioFormat() noexcept {
  uint32_t channels = 0;
  uint32_t host_value1 = 0;
  uint32_t host_value2 = 0;
  {
    const RecorderTaskQueue::HostCall call(&tasks_);
    if (!mixer_recorder_->GetAudioFormat(&channels, &host_value1, &host_value2)) return false;
  }
  writer_.SetAudioFormat(channels, host_value1, host_value2);
  return true;
}

int SpeakerRecorder::AudioSource() const {
  return local_mic_muted_ ? kAudioMixerSourceRemote : kAudioMixerSourceAll;
}

const VideoChannelInfo* SpeakerRecorder::RecordedChannel() const {
  return recording_.load(std::memory_order_relaxed) ? &writer_.current_channel() : nullptr;
}

}  // namespace kxrtc
