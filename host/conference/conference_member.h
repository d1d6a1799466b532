// One participant of the running conference: the feeds of camera, share and microphone, and what
// is switched on.
// Threads: the control thread of the conference; Interrupt() any. The destructor ends all media.
#ifndef HOST_CONFERENCE_CONFERENCE_MEMBER_H_
#define HOST_CONFERENCE_CONFERENCE_MEMBER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/conference/audio_room.h"
#include "host/conference/conference_clock.h"
#include "host/conference/media_feed.h"
#include "host/conference/source_opening.h"
#include "host/scenario/participant_state.h"
#include "host/scenario/scenario.h"
#include "kxrtc/recording/peer_connection_conductor.h"

namespace kxrtc_host {

// What all members share; outlives them.
struct ConferenceSite {
  const ConferenceClock* clock = nullptr;
  AudioRoom* room = nullptr;
  kxrtc::VideoFrameRelayCallback* recorder = nullptr;
  MediaTap* tap = nullptr;  // May be null.
  Notices* notices = nullptr;
};

// One entry of a video mapping.
struct VideoChannel {
  uint32_t ssrc;
  uint32_t user_id;
  kxrtc::PeerConnectionConductor::media_type type;
};

class ConferenceMember {
 public:
  // `participant` outlives the member; `index` is its place in the scenario.
  ConferenceMember(const ScenarioParticipant& participant, size_t index,
                   const ConferenceSite& site);

  // Begins to open all sources, each within `timeout_us`.
  void BeginOpening(int64_t timeout_us, SourceOpening* opening);
  void Interrupt();

  // Apply an action in two steps. The video mapping is announced between them: first the media that
  // go off stop, then the media that go on start, files from their beginning at `now_us`. False,
  // and nothing happens, when the action is not valid now.
  [[nodiscard]] bool Apply(ScenarioAction action);
  void Follow(int64_t now_us);

  // Appends the channels that are on.
  void AppendChannels(std::vector<VideoChannel>* channels) const;

  const ScenarioParticipant& participant() const { return participant_; }
  const ParticipantState& state() const { return state_; }
  bool IsMicrophoneOpen() const { return state_.present && !state_.muted; }

  // True when all media that are on have ended.
  bool IsIdle() const;

 private:
  using Feed = std::unique_ptr<MediaFeed>;

  bool IsPlaying(const Feed& feed) const;
  void FollowFeed(const Feed& feed, int64_t now_us);

  const ScenarioParticipant& participant_;
  AudioRoom* const room_;
  const uint32_t camera_ssrc_;
  const uint32_t share_ssrc_;
  ParticipantState state_;
  Feed camera_;
  Feed share_;
  Feed microphone_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_CONFERENCE_MEMBER_H_
