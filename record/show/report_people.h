// The people of a record, for its report page.
// Threads: any.
#ifndef RECORD_SHOW_REPORT_PEOPLE_H_
#define RECORD_SHOW_REPORT_PEOPLE_H_

#include <cstddef>
#include <cstdint>

#include "record/predict/speaker_turns.h"

namespace Json {
class Value;
}

namespace kxrtc_host {

inline constexpr size_t kMaxReportTurns = 20000;  // Of each list; all are counted.

// What the speaker timeline tells, with times of the MP4, which starts at `start_us` of output
// time. Null for a record without one.
Json::Value PeopleValue(const SpeakerTurns& turns, int64_t start_us);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_REPORT_PEOPLE_H_
