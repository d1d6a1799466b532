// The microphones of the conference: mixes the open ones and reports who speaks.
// Threads: any; the sound of one track is written by one thread (sound_track.h).
#ifndef HOST_CONFERENCE_AUDIO_ROOM_H_
#define HOST_CONFERENCE_AUDIO_ROOM_H_

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "host/conference/sound_track.h"
#include "host/conference/voice_activity_detector.h"

namespace kxrtc_host {

// One entry of the voice activity list.
struct Voice {
  uint32_t user_id = 0;
  bool speaking = false;
};

class AudioRoom {
 public:
  explicit AudioRoom(const VoiceActivityConfig& config = VoiceActivityConfig());

  // Adds the closed microphone of a user. The track lives as long as the room.
  SoundTrack* AddMicrophone(uint32_t user_id, bool local);

  // Opens or closes the user's microphone. Does nothing if there is none.
  void SetOpen(uint32_t user_id, bool open);

  // Mixes the block at the sample index `first` into `block` (kAudioBlockFloats values within
  // [-1, 1]) and follows the levels. The local microphone is heard only `with_local`.
  void Mix(int64_t first, bool with_local, float* block);

  // The open microphones in the order of their user ids.
  std::vector<Voice> Voices() const;

 private:
  struct Microphone {
    SoundTrack track;
    VoiceActivityDetector detector;
    bool local = false;
    bool open = false;
  };

  void Limit(float* block);

  const VoiceActivityConfig config_;
  mutable std::mutex lock_;
  std::map<uint32_t, Microphone> microphones_;  // A node never moves.
  float gain_ = 1;                              // Of the limiter, at the end of the last block.
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_AUDIO_ROOM_H_
