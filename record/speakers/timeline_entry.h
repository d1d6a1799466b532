// One line of the speaker timeline, the file beside a record that knows the people
// (docs/speaker_timeline_format.md).
// Threads: any.
#ifndef RECORD_SPEAKERS_TIMELINE_ENTRY_H_
#define RECORD_SPEAKERS_TIMELINE_ENTRY_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "record/speakers/timeline_format.h"

namespace kxrtc_host {

// The first line.
struct TimelineHeader {
  uint32_t version = kSpeakerTimelineVersion;
  std::string title;  // Of the conference; may be empty.
};

struct TimelineEntry {
  enum class Kind {
    kStart,     // A session started: utc_us.
    kStop,      // It stopped.
    kJoined,    // user_id, name.
    kLeft,      // user_id.
    kSelected,  // ssrc, user_id, media_type: what is seen from now on.
    kVoice,     // user_id, on.
  };

  Kind kind = Kind::kStart;
  int64_t time_us = 0;  // Recorder time, as in the index.
  int64_t utc_us = 0;   // Microseconds since 1970-01-01 UTC.
  uint32_t user_id = 0;
  uint32_t ssrc = 0;
  uint32_t media_type = 0;
  bool on = false;
  std::string name;
};

// True for UTF-8 text without a zero character, of 1 to `max_bytes` bytes.
bool IsTimelineText(std::string_view text, size_t max_bytes);

// The whole line, with its newline. Texts are to be valid. Throws when there is no memory.
std::string TimelineLine(const TimelineHeader& header);
std::string TimelineLine(const TimelineEntry& entry);

// Reads a line without its newline. False: it is not a header.
[[nodiscard]] bool ParseTimelineHeader(std::string_view line, TimelineHeader* header);

enum class TimelineLineKind {
  kEntry,
  kUnknown,  // An event that later writers may add. Readers pass over it.
  kDamaged,
};

TimelineLineKind ParseTimelineEntry(std::string_view line, TimelineEntry* entry);

// "start", "stop", "joined", "left", "selected" or "voice".
const char* TimelineEventName(TimelineEntry::Kind kind);

// "2026-11-22T09:30:00.250000Z"; the reverse is false for anything else.
std::string UtcText(int64_t utc_us);
[[nodiscard]] bool ParseUtc(const std::string& text, int64_t* utc_us);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_TIMELINE_ENTRY_H_
