#include "kxrtc/recording/speaker_recorder.h"

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
using kx_utility::LogFormatted;
using kx_utility::LS_INFO;
using kx_utility::LS_WARNING;
using kx_utility::TaskHandler;
using kx_utility::Thread;

constexpr uint32_t kTaskId = 0;
constexpr uint32_t kIdleSleepMs = 10;
constexpr uint32_t kEntryPollMs = 1;

}  // namespace

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

SpeakerRecorder::SpeakerRecorder() : writer_([this] { OnShortWrite(); }) {}

SpeakerRecorder::~SpeakerRecorder() { Finalize(); }

bool SpeakerRecorder::Initialize(const std::string& path, AudioFactory* factory,
                                 SpeakerRecorderObserver* /*observer*/) {
  Finalize();
  if (path.empty()) {
    LogFormatted(LS_INFO, Here(), "No recording path is set.");
    return true;
  }
  if (!check_pointers(1, factory)) return Failed("parameters are nullptr");
  audio_factory_ = factory;
  if (!audio_factory_->CreateAudioMixerRecorder(&mixer_recorder_)) {
    mixer_recorder_ = nullptr;  // Whatever the factory left there was not handed out.
    return FailedIn("audio_factory_->CreateAudioMixerRecorder");
  }
  if (!writer_.CreateRecordFile(path)) return FailedIn("CreateRecordFile");
  if (!writer_.CreateDescriptor(path)) return FailedIn("desc_writer_.Initialize");
  (void)task_handler_.Initialize(nullptr, kIdleSleepMs);  // Always true.
  stop_watch_.Restart();
  initialized_.store(true, std::memory_order_seq_cst);
  LogFormatted(LS_INFO, Here(), " success");
  return true;
}

bool SpeakerRecorder::Finalize() {
  initialized_.store(false, std::memory_order_seq_cst);
  while (entries_.load(std::memory_order_seq_cst) != 0) Thread::Sleep(kEntryPollMs);
  (void)task_handler_.WaitAllTasksDoneAndFinalize();  // Always true.
  if (mixer_recorder_) {
    (void)mixer_recorder_->Stop();  // Often stopped already; it is given back in any case.
    audio_factory_->ReleaseAudioMixerRecorder(mixer_recorder_);
    mixer_recorder_ = nullptr;
  }
  audio_factory_ = nullptr;
  stop_watch_.Stop();
  selector_.Clear();
  recording_.store(false, std::memory_order_relaxed);
  local_mic_muted_ = false;
  writer_.Finalize();
  return true;
}

bool SpeakerRecorder::StartRecording() {
  const Entry entry(this);
  if (!entry.admitted()) return Failed("non-inited");
  Push([this, ts = stop_watch_.TimeInMicroseconds()] { return ProcessStart(ts); });
  return true;
}

bool SpeakerRecorder::StopRecording() {
  const Entry entry(this);
  if (!entry.admitted()) return Failed("non-inited");
  Push([this, ts = stop_watch_.TimeInMicroseconds()] { return ProcessStop(ts); });
  return true;
}

bool SpeakerRecorder::MuteLocalMicrophone(bool mute) {
  const Entry entry(this);
  if (!entry.admitted()) return false;
  Push([this, mute] { return ProcessMute(mute); });
  return true;
}

bool SpeakerRecorder::UpdateVideoSsrcMapping(bool local, const uint32_t* ssrcs,
                                             const uint32_t* user_ids,
                                             const PeerConnectionConductor::media_type* types,
                                             uint32_t count) {
  const Entry entry(this);
  if (!entry.admitted()) return false;
  if (count != 0 && !check_pointers(3, ssrcs, user_ids, types)) {
    return Failed("parameters are nullptr");
  }
  std::vector<VideoChannelInfo> channels(count);
  for (uint32_t i = 0; i < count; ++i) channels[i] = {ssrcs[i], user_ids[i], types[i]};
  Push([this, local, channels = std::move(channels), ts = stop_watch_.TimeInMicroseconds()] {
    return ProcessVideoMapping(local, channels, ts);
  });
  return true;
}

bool SpeakerRecorder::UpdateVoiceActivity(const uint32_t* user_ids, const uint8_t* speaking,
                                          uint32_t count) {
  const Entry entry(this);
  if (!entry.admitted()) return false;
  if (count != 0 && !check_pointers(2, user_ids, speaking)) return Failed("parameters are nullptr");
  std::vector<VoiceActivity> activities(count);
  for (uint32_t i = 0; i < count; ++i) activities[i] = {user_ids[i], speaking[i] != 0};
  Push([this, activities = std::move(activities), ts = stop_watch_.TimeInMicroseconds()] {
    return ProcessVoiceActivity(activities, ts);
  });
  return true;
}

bool SpeakerRecorder::OnEncodedFrame(const EncodedImage* image, uint32_t ssrc) {
  const Entry entry(this);
  if (!entry.admitted()) return false;
  if (!recording_.load(std::memory_order_relaxed)) return true;
  if (!check_pointers(1, image)) return Failed("parameters are nullptr");
  RecvEncodedVideoFrame frame;
  if (!frame.data.SetData(image->data, image->length)) return FailedIn("frame.data.SetData");
  frame.timestamp_us = stop_watch_.TimeInMicroseconds();
  frame.ssrc = ssrc;
  frame.frame_type = image->frame_type;
  frame.attributes = {image->rotation, image->encoded_width, image->encoded_height};
  Push([this, frame = std::move(frame)] { return ProcessVideoTask(frame); });
  return true;
}

bool SpeakerRecorder::OnEncodedData(EncodedAudioFrame* encoded) {
  const Entry entry(this);
  if (!entry.admitted()) return false;
  if (!recording_.load(std::memory_order_relaxed)) return true;
  if (!check_pointers(1, encoded)) return Failed("parameters are nullptr");
  RecvAudioFrame frame;
  frame.timestamp_us = stop_watch_.TimeInMicroseconds();
  const uint32_t length = encoded->GetLength();
  if (!frame.data.SetData(encoded->GetData(), length)) return FailedIn("frame.data.SetData");
  PushAudio([this, frame = std::move(frame)] { return ProcessAudioTask(frame); });
  return true;
}

uint32_t SpeakerRecorder::QueuedTasks() const { return task_handler_.QueuedTasks(); }

void SpeakerRecorder::Push(std::function<bool()> task) {
  TaskHandler::Task item(kTaskId, std::move(task));
  (void)task_handler_.PushTask(item);  // Never refused while an entry is in progress.
}

void SpeakerRecorder::PushAudio(std::function<bool()> task) {
  TaskHandler::Task item(kTaskId, std::move(task));
  while (!task_handler_.TryPushTask(item)) {
    // The queue is full, and who empties it is inside the mixer, which may be waiting for this very
    // call to return: then the frame is given up.
    if (in_mixer_call_.load(std::memory_order_acquire)) return;
    Thread::TryYield();
  }
}

void SpeakerRecorder::OnShortWrite() {
  if (observer_) observer_->OnRecordFailed();
  StopRecording();
}

bool SpeakerRecorder::ProcessStart(int64_t timestamp_us) {
  if (recording_.load(std::memory_order_relaxed)) return Failed("already running");
  if (!StartMixer()) return FailedIn("mixer_recorder_->Start");
  uint32_t channels = 0;
  uint32_t host_value1 = 0;
  uint32_t host_value2 = 0;
  if (!mixer_recorder_->GetAudioFormat(&channels, &host_value1, &host_value2)) {
    return FailedIn("mixer_recorder_->GetAudioFormat");  // Intended: the mixer stays started.
  }
  writer_.SetAudioFormat(channels, host_value1, host_value2);
  if (!writer_.WriteStartStreamingRecord(timestamp_us)) {
    return FailedIn("WriteStartStreamingRecord");
  }
  writer_.ForgetChannel();
  LogFormatted(LS_INFO, Here(), "start recording...");
  recording_.store(true, std::memory_order_relaxed);
  return true;
}

bool SpeakerRecorder::ProcessStop(int64_t timestamp_us) {
  if (!recording_.load(std::memory_order_relaxed)) return Failed("already stop");
  if (!StopMixer()) LogFormatted(LS_WARNING, Here(), "failed in mixer_recorder_->Stop");
  recording_.store(false, std::memory_order_relaxed);
  if (!writer_.WriteStopStreamingRecord(timestamp_us)) return FailedIn("WriteStopStreamingRecord");
  writer_.ForgetChannel();
  LogFormatted(LS_INFO, Here(), "stop recording...");
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
  // While no video is recorded the current channel's ssrc is 0, which is nobody's.
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
  return writer_.SwitchChannel(decision.channel, timestamp_us) || FailedIn("SwitchChannel", site);
}

bool SpeakerRecorder::StartMixer() {
  in_mixer_call_.store(true, std::memory_order_release);
  const bool started = mixer_recorder_->Start(kAudioMixerMode, AudioSource(), this);
  in_mixer_call_.store(false, std::memory_order_release);
  return started;
}

bool SpeakerRecorder::StopMixer() {
  in_mixer_call_.store(true, std::memory_order_release);
  const bool stopped = mixer_recorder_->Stop();
  in_mixer_call_.store(false, std::memory_order_release);
  return stopped;
}

int SpeakerRecorder::AudioSource() const {
  return local_mic_muted_ ? kAudioMixerSourceRemote : kAudioMixerSourceAll;
}

const VideoChannelInfo* SpeakerRecorder::RecordedChannel() const {
  return recording_.load(std::memory_order_relaxed) ? &writer_.current_channel() : nullptr;
}

}  // namespace kxrtc
