// Lists the lines of the speaker timeline beside a record, as text or as elements of a JSON
// document. Threads: any; blocks while it reads.
#ifndef RECORD_SHOW_TIMELINE_LISTING_H_
#define RECORD_SHOW_TIMELINE_LISTING_H_

#include <cstdio>
#include <string>

#include "record/show/record_dump.h"

namespace kxrtc_host {

// Writes the timeline of the record in `folder`, which ends in its separator, to `out`: a table, or
// the member "speaker_timeline" with the comma in front of it. Nothing without a timeline. A
// damaged line is shown with the line before it, and the first line unless `from_us` is given.
void ListSpeakerTimeline(const std::string& folder, const DumpOptions& options, std::FILE* out);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_TIMELINE_LISTING_H_
