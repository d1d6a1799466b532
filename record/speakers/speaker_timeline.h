// What the speaker timeline beside a record tells: who took part, and for how long each person was
// heard and seen.
// Threads: any.
#ifndef RECORD_SPEAKERS_SPEAKER_TIMELINE_H_
#define RECORD_SPEAKERS_SPEAKER_TIMELINE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/export.h"

namespace kxrtc_host {

struct Person {
  uint32_t user_id = 0;
  std::string name;      // The latest one.
  int64_t heard_us = 0;  // Within sessions; likewise below.
  int64_t seen_us = 0;   // With video, camera or desktop.
  uint64_t turns = 0;    // How often the person started to speak.
};

struct TimelineSession {
  int64_t start_us = 0;  // Recorder time.
  int64_t utc_us = 0;
};

struct SpeakerTimeline {
  static constexpr size_t kMaxPeople = 10000;
  static constexpr size_t kMaxSessions = 60000;

  bool exists = false;
  std::string problem;  // Why it could not be read, in one line with the file; empty: it could.
  std::string title;
  std::vector<TimelineSession> sessions;
  std::vector<Person> people;  // In the order in which they came.
  uint64_t damaged_lines = 0;  // Passed over. A torn last line is normal and does not count.
};

// Reads the timeline of the record in `folder`. What it leaves open ends at `end_us`, the end of
// the record.
KX_EXPORT SpeakerTimeline ReadSpeakerTimeline(const std::string& folder, int64_t end_us);

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_SPEAKER_TIMELINE_H_
