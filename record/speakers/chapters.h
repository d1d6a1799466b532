// Divides a recording into chapters, one for each change of who is seen.
// Threads: any.
#ifndef RECORD_SPEAKERS_CHAPTERS_H_
#define RECORD_SPEAKERS_CHAPTERS_H_

#include <cstdint>
#include <vector>

#include "record/speakers/chapter.h"
#include "record/speakers/person_names.h"
#include "record/speakers/speaker_follower.h"

namespace kxrtc_host {

// A person who is seen for less is no chapter, unless the user asks for another limit.
inline constexpr int64_t kDefaultShortestChapterUs = 3000000;

// No player shows more, and no meeting has as many.
inline constexpr size_t kMaxChapters = 10000;

// The chapters of `seen`, whose turns follow one another. What lasts less than `shortest_us`
// belongs to the chapter before it, at the beginning to the one after it. The first chapter starts
// at 0. A camera is titled with the name of its person, a desktop share "NAME (desktop share)",
// nobody "No video". Empty when nobody is ever seen. Where there would be more than kMaxChapters,
// the limit is doubled until there are no more.
std::vector<Chapter> ChaptersOf(const std::vector<SpeakerTurn>& seen, const PersonNames& names,
                                int64_t shortest_us);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_CHAPTERS_H_
