// How the time that people were heard is divided among them.
// Threads: any.
#ifndef RECORD_SPEAKERS_TALK_SHARE_H_
#define RECORD_SPEAKERS_TALK_SHARE_H_

#include <vector>

#include "record/speakers/speaker_timeline.h"

namespace kxrtc_host {

// For each person the percentage of the time that all were heard: 0 if nobody was.
std::vector<double> TalkShares(const std::vector<Person>& people);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_TALK_SHARE_H_
