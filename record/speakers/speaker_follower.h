// Follows the entries of a speaker timeline and tells each turn when it ends: who was heard, and
// who was seen.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_SPEAKERS_SPEAKER_FOLLOWER_H_
#define RECORD_SPEAKERS_SPEAKER_FOLLOWER_H_

#include <cstdint>
#include <map>

#include "record/speakers/timeline_entry.h"

namespace kxrtc_host {

struct SpeakerTurn {
  int64_t start_us = 0;
  int64_t end_us = 0;
  uint32_t user_id = 0;     // 0: nobody, which only pictures have.
  uint32_t media_type = 0;  // Of what is seen, as in the index; 0: no video.
};

class TurnObserver {
 public:
  virtual ~TurnObserver() = default;

  // Someone was heard. Turns of several people overlap.
  virtual void OnHeard(const SpeakerTurn& turn) = 0;

  // Someone, or nobody, was seen. These turns follow one another.
  virtual void OnSeen(const SpeakerTurn& turn) = 0;
};

class SpeakerFollower {
 public:
  // Who speaks at the same time beyond these is passed over.
  static constexpr size_t kMaxSpeakers = 10000;

  // The observer is borrowed. `start_us`: when the first turn begins, in which nobody is seen.
  explicit SpeakerFollower(TurnObserver* observer, int64_t start_us = 0);

  // The next entry, at this time of any clock that never goes back.
  void Take(const TimelineEntry& entry, int64_t time_us);

  // Ends all turns.
  void Finish(int64_t time_us);

 private:
  void EndVoice(uint32_t user_id, int64_t time_us);
  void EndView(int64_t time_us);

  TurnObserver* observer_;
  std::map<uint32_t, int64_t> speaking_;  // By user, since when.
  SpeakerTurn seen_;                      // Without its end.
};

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_SPEAKER_FOLLOWER_H_
