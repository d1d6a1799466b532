#include "record/speakers/speaker_follower.h"

namespace kxrtc_host {

using Kind = TimelineEntry::Kind;

SpeakerFollower::SpeakerFollower(TurnObserver* observer, int64_t start_us) : observer_(observer) {
  seen_.start_us = start_us;
}

void SpeakerFollower::Take(const TimelineEntry& entry, int64_t time_us) {
  switch (entry.kind) {
    case Kind::kSelected:
      EndView(time_us);
      seen_ = {time_us, 0, entry.user_id, entry.ssrc == 0 ? 0 : entry.media_type};
      break;
    case Kind::kVoice:
      if (!entry.on) {
        EndVoice(entry.user_id, time_us);
      } else if (speaking_.size() < kMaxSpeakers) {
        speaking_.emplace(entry.user_id, time_us);
      }
      break;
    case Kind::kLeft:
      EndVoice(entry.user_id, time_us);
      break;
    case Kind::kStart:
    case Kind::kStop:
    case Kind::kJoined:
      break;
  }
}

void SpeakerFollower::Finish(int64_t time_us) {
  while (!speaking_.empty()) EndVoice(speaking_.begin()->first, time_us);
  EndView(time_us);
}

void SpeakerFollower::EndVoice(uint32_t user_id, int64_t time_us) {
  const auto voice = speaking_.find(user_id);
  if (voice == speaking_.end()) return;
  observer_->OnHeard({voice->second, time_us, user_id, 0});
  speaking_.erase(voice);
}

void SpeakerFollower::EndView(int64_t time_us) {
  seen_.end_us = time_us;
  observer_->OnSeen(seen_);
}

}  // namespace kxrtc_host
