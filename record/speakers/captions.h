// Captions that tell who speaks, as WebVTT (https://www.w3.org/TR/webvtt1/).
// Threads: any.
#ifndef RECORD_SPEAKERS_CAPTIONS_H_
#define RECORD_SPEAKERS_CAPTIONS_H_

#include <string>
#include <vector>

#include "record/speakers/person_names.h"
#include "record/speakers/speaker_follower.h"

namespace kxrtc_host {

// True for a turn that lasts long enough for a cue: from one millisecond to another.
bool IsCaption(const SpeakerTurn& turn);

// True for a file that begins as every WebVTT file does.
bool IsWebVttFile(const std::string& path);

// A whole file with one cue for each of these turns. A voice tag names the person, and so does the
// text. `heard`: by their start, in the time of the MP4. Several people who speak at once have cues
// that overlap.
std::string WebVttCaptions(const std::vector<SpeakerTurn>& heard, const PersonNames& names);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_CAPTIONS_H_
