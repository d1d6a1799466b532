#include "kxrtc/recording/speaker_channel_selector.h"

#include <utility>

#include "kxrtc/recording/peer_connection_conductor.h"

namespace kxrtc {
namespace {

using Action = ChannelDecision::Action;
using Reason = SelectionReason;

constexpr uint32_t kNoVideo = PeerConnectionConductor::kNoVideo;
constexpr uint32_t kCamera = PeerConnectionConductor::kCamera;
constexpr uint32_t kDesktop = PeerConnectionConductor::kDesktop;

ChannelDecision Keep() { return {}; }

ChannelDecision SwitchTo(const VideoChannelInfo& channel, Reason reason, const char* message) {
  return {Action::kSwitch, channel, reason, message};
}

VideoChannelInfo WithoutVideo(uint32_t user_id) { return {0, user_id, kNoVideo}; }

bool IsRecordable(const VideoChannelInfo& channel) {
  return channel.user_id != 0 && channel.ssrc != 0 &&
         (channel.type == kCamera || channel.type == kDesktop);
}

}  // namespace

ChannelDecision SpeakerChannelSelector::UpdateVideoMapping(
    bool local, const std::vector<VideoChannelInfo>& channels, const VideoChannelInfo* recorded) {
  Side side;  // Replaces the former one when it is complete: memory may run out before.
  for (const VideoChannelInfo& channel : channels) {
    if (!IsRecordable(channel)) continue;
    side.channels[channel.ssrc] = channel;
    side.users.insert(channel.user_id);
  }
  (local ? local_ : remote_) = std::move(side);
  if (!recorded || recorded->user_id == 0 || recorded->ssrc == 0) return Keep();
  if (FindChannel(recorded->ssrc)) return Keep();
  // A user with a microphone stays recorded, now without video.
  const uint32_t user_id = HasMicrophone(recorded->user_id) ? recorded->user_id : 0;
  return SwitchTo(WithoutVideo(user_id), Reason::kVideoTurnedOff,
                  "current recording video is turn off");  // sic
}

ChannelDecision SpeakerChannelSelector::UpdateVoiceActivity(
    const std::vector<VoiceActivity>& activities, const VideoChannelInfo* recorded) {
  std::map<uint32_t, bool> voices;
  uint32_t candidate = 0;  // The last of the speakers without video.
  for (const VoiceActivity& activity : activities) {
    if (activity.user_id == 0) continue;
    voices[activity.user_id] = activity.speaking;
    if (activity.speaking && !HasVideo(activity.user_id)) candidate = activity.user_id;
  }
  voice_activity_ = std::move(voices);
  if (!recorded) return Keep();
  const bool somebody = recorded->user_id != 0;
  if (somebody && (IsSpeaking(recorded->user_id) || recorded->type == kDesktop)) return Keep();
  if (candidate != 0) {
    return SwitchTo(WithoutVideo(candidate), Reason::kSpeakerWithoutVideo,
                    "current recording user is not a speaker, SwitchChannel");
  }
  if (somebody && recorded->type == kNoVideo && !HasMicrophone(recorded->user_id)) {
    return SwitchTo({}, Reason::kMicrophoneTurnedOff,
                    "current recording user is not enable mic, SwitchChannel");  // sic
  }
  return Keep();
}

ChannelDecision SpeakerChannelSelector::OnKeyFrame(uint32_t ssrc,
                                                   const VideoChannelInfo& recorded) const {
  const VideoChannelInfo* channel = FindChannel(ssrc);
  if (!channel) return {Action::kUnknownChannel, {}, Reason::kNone, nullptr};
  // A recorded desktop share ends only when its channel goes.
  if (recorded == *channel || recorded.type == kDesktop) return Keep();
  if (channel->type == kDesktop) return SwitchTo(*channel, Reason::kDesktopShared, nullptr);
  const bool somebody = recorded.user_id != 0;
  if (somebody && recorded.user_id == channel->user_id && recorded.ssrc == 0) {
    return SwitchTo(*channel, Reason::kVideoTurnedOn,
                    "current user unmute video, SwitchChannel");  // sic
  }
  if (IsSpeaking(recorded.user_id) || !IsSpeaking(channel->user_id)) {
    if (somebody) return Keep();
    // Any channel is better than none.
    return SwitchTo(*channel, Reason::kNobodyRecorded, "current recording user is invalid");
  }
  return SwitchTo(
      *channel, Reason::kAnotherSpeaker,
      "current recording user is not a speaker, and found another speaker, SwitchChannel");
}

void SpeakerChannelSelector::Clear() {
  local_ = {};
  remote_ = {};
  voice_activity_.clear();
}

const VideoChannelInfo* SpeakerChannelSelector::FindChannel(uint32_t ssrc) const {
  for (const Side* side : {&local_, &remote_}) {
    const auto found = side->channels.find(ssrc);
    if (found != side->channels.end()) return &found->second;
  }
  return nullptr;
}

bool SpeakerChannelSelector::HasVideo(uint32_t user_id) const {
  return local_.users.count(user_id) != 0 || remote_.users.count(user_id) != 0;
}

bool SpeakerChannelSelector::HasMicrophone(uint32_t user_id) const {
  return voice_activity_.count(user_id) != 0;
}

bool SpeakerChannelSelector::IsSpeaking(uint32_t user_id) const {
  const auto found = voice_activity_.find(user_id);
  return found != voice_activity_.end() && found->second;
}

}  // namespace kxrtc
