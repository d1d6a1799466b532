// Who was heard and who was seen when, in the time of the MP4.
// Threads: any; blocks while it reads.
#ifndef RECORD_PREDICT_SPEAKER_TURNS_H_
#define RECORD_PREDICT_SPEAKER_TURNS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "record/speakers/speaker_follower.h"
#include "record/speakers/speaker_timeline.h"

namespace kxrtc_host {

struct SpeakerTurns {
  // Of each list. Turns beyond it are left out; no conference has as many.
  static constexpr size_t kMaxTurns = 1000000;

  SpeakerTimeline timeline;

  // In output time, by their start; none is empty. Turns of several people who are heard may
  // overlap.
  std::vector<SpeakerTurn> heard;
  std::vector<SpeakerTurn> seen;
};

// Reads the speaker timeline of the record in `folder`, and the index up to where a replay ends.
// Without a timeline the index is not read.
SpeakerTurns ReadSpeakerTurns(const std::string& folder);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_SPEAKER_TURNS_H_
