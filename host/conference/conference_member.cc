#include "host/conference/conference_member.h"

namespace kxrtc_host {
namespace {

// Two channels a participant, none of them 0.
constexpr uint32_t kFirstSsrc = 1000;

}  // namespace

ConferenceMember::ConferenceMember(const ScenarioParticipant& participant, size_t index,
                                   const ConferenceSite& site)
    : participant_(participant),
      room_(site.room),
      camera_ssrc_(kFirstSsrc + 2 * static_cast<uint32_t>(index)),
      share_ssrc_(camera_ssrc_ + 1) {
  SoundTrack* track = nullptr;
  if (participant.microphone || participant.microphone_from_camera) {
    track = site.room->AddMicrophone(participant.user_id, participant.local);
  }
  FeedOutlet outlet;
  outlet.tap = site.tap;
  if (participant.microphone) {
    outlet.audio = track;
    outlet.audio_required = true;
    microphone_ =
        std::make_unique<MediaFeed>(*participant.microphone, outlet, site.clock, site.notices);
  }
  outlet.video = site.recorder;
  if (participant.camera) {
    outlet.audio = participant.microphone ? nullptr : track;
    outlet.audio_required = false;
    outlet.ssrc = camera_ssrc_;
    camera_ = std::make_unique<MediaFeed>(*participant.camera, outlet, site.clock, site.notices);
  }
  if (participant.share) {
    outlet.audio = nullptr;
    outlet.audio_required = false;
    outlet.ssrc = share_ssrc_;
    share_ = std::make_unique<MediaFeed>(*participant.share, outlet, site.clock, site.notices);
  }
}

void ConferenceMember::BeginOpening(int64_t timeout_us, SourceOpening* opening) {
  for (const Feed* feed : {&camera_, &share_, &microphone_}) {
    if (*feed == nullptr) continue;
    opening->Begin((*feed)->source(), [feed = feed->get(), timeout_us](std::string* error) {
      return feed->Open(timeout_us, error);
    });
  }
}

void ConferenceMember::Interrupt() {
  for (const Feed* feed : {&camera_, &share_, &microphone_}) {
    if (*feed != nullptr) (*feed)->Interrupt();
  }
}

bool ConferenceMember::Apply(ScenarioAction action) {
  if (state_.Apply(participant_, action) != nullptr) return false;
  if (camera_ != nullptr && !state_.camera_on) camera_->SetSending(false);
  if (share_ != nullptr && !state_.share_on) share_->SetSending(false);
  if (!IsMicrophoneOpen()) room_->SetOpen(participant_.user_id, false);
  return true;
}

bool ConferenceMember::IsPlaying(const Feed& feed) const {
  return feed == share_ ? state_.share_on : state_.present;
}

// A live source is always read, so that it never falls behind.
void ConferenceMember::FollowFeed(const Feed& feed, int64_t now_us) {
  if (feed == nullptr) return;
  if (IsPlaying(feed)) {
    feed->Start(now_us);
  } else if (!feed->live()) {
    feed->Stop();
  }
}

void ConferenceMember::Follow(int64_t now_us) {
  FollowFeed(camera_, now_us);
  FollowFeed(share_, now_us);
  FollowFeed(microphone_, now_us);
  if (camera_ != nullptr) camera_->SetSending(state_.camera_on);
  if (share_ != nullptr) share_->SetSending(state_.share_on);
  const bool has_sound = microphone_ != nullptr || (camera_ != nullptr && camera_->has_audio());
  room_->SetOpen(participant_.user_id, has_sound && IsMicrophoneOpen());
}

void ConferenceMember::AppendChannels(std::vector<VideoChannel>* channels) const {
  using Conductor = kxrtc::PeerConnectionConductor;
  const uint32_t user_id = participant_.user_id;
  if (state_.camera_on) channels->push_back({camera_ssrc_, user_id, Conductor::kCamera});
  if (state_.share_on) channels->push_back({share_ssrc_, user_id, Conductor::kDesktop});
}

bool ConferenceMember::IsIdle() const {
  for (const Feed* feed : {&camera_, &share_, &microphone_}) {
    if (*feed != nullptr && IsPlaying(*feed) && !(*feed)->HasEnded()) return false;
  }
  return true;
}

}  // namespace kxrtc_host
