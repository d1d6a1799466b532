// Decides whose video a speaker record shows: the tables of the conference and the rules over them,
// without threads and files. A decision is carried out by the recorder.
// Threads: an object belongs to one thread at a time.
#ifndef KXRTC_RECORDING_SPEAKER_CHANNEL_SELECTOR_H_
#define KXRTC_RECORDING_SPEAKER_CHANNEL_SELECTOR_H_

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "kxrtc/recording/speaker_recorder_listener.h"

namespace kxrtc {

// A channel that can be recorded. All zero: nobody. A user with ssrc and type 0: a speaker without
// video.
struct VideoChannelInfo {
  uint32_t ssrc = 0;
  uint32_t user_id = 0;
  uint32_t type = 0;  // A PeerConnectionConductor::media_type.
};

inline bool operator==(const VideoChannelInfo& a, const VideoChannelInfo& b) {
  return a.ssrc == b.ssrc && a.user_id == b.user_id && a.type == b.type;
}

// One line of a voice activity update: a user whose microphone is on.
struct VoiceActivity {
  uint32_t user_id = 0;
  bool speaking = false;
};

struct ChannelDecision {
  enum class Action {
    kKeep,            // The channel goes on.
    kSwitch,          // Record `channel` from now on.
    kUnknownChannel,  // Keep; the key frame belongs to a channel that no table has.
  };

  Action action = Action::kKeep;
  VideoChannelInfo channel;
  SelectionReason reason = SelectionReason::kNone;
  const char* message = nullptr;  // Logged before the switch; null: switch without a word.
};

class SpeakerChannelSelector {
 public:
  // Replaces one side's table by `channels`; those without an ssrc, a user or a video type are
  // left out. `recorded` is the channel being recorded, null while nothing is recorded.
  [[nodiscard]] ChannelDecision UpdateVideoMapping(bool local,
                                                   const std::vector<VideoChannelInfo>& channels,
                                                   const VideoChannelInfo* recorded);

  // Replaces the table of microphones. Only a speaker without video is adopted here; one with video
  // is adopted at a key frame.
  [[nodiscard]] ChannelDecision UpdateVoiceActivity(const std::vector<VoiceActivity>& activities,
                                                    const VideoChannelInfo* recorded);

  // A key frame arrived: the only moment at which its channel can be adopted.
  [[nodiscard]] ChannelDecision OnKeyFrame(uint32_t ssrc, const VideoChannelInfo& recorded) const;

  // Empties all tables.
  void Clear();

 private:
  // The channels of one side and the users who have one.
  struct Side {
    std::map<uint32_t, VideoChannelInfo> channels;  // By ssrc.
    std::set<uint32_t> users;
  };

  const VideoChannelInfo* FindChannel(uint32_t ssrc) const;  // Local first. Null: none.
  bool HasVideo(uint32_t user_id) const;
  bool HasMicrophone(uint32_t user_id) const;  // Switched on.
  bool IsSpeaking(uint32_t user_id) const;

  Side local_;
  Side remote_;
  std::map<uint32_t, bool> voice_activity_;  // By user id: speaking. Absent: no microphone.
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_CHANNEL_SELECTOR_H_
