// Compares the speaker timeline beside a record with the index, and reports what is wrong in it.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_TIMELINE_CHECK_H_
#define RECORD_CHECK_TIMELINE_CHECK_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "record/check/finding.h"
#include "record/index/index_walker.h"
#include "record/speakers/timeline_reader.h"

namespace kxrtc_host {

// Both tell of each start and each new channel, in the same order and at the same times. Reads the
// timeline in step with the index, so memory stays bounded.
class TimelineCheck {
 public:
  // So many lines are looked at together to find the one of an index record.
  static constexpr size_t kLinesAhead = 64;

  // What a killed process may leave out at the end; a repair closes such a record.
  static constexpr int64_t kLostByAKillUs = 1000000;

  // Opens the timeline of the record in `folder`. Comes before the index is opened: of a record
  // that grows, the timeline is then never ahead. `findings` is borrowed.
  TimelineCheck(const std::string& folder, FindingList* findings);

  // The next record of the index.
  void OnRecord(const IndexRecord& record);

  // The index ends.
  void Finish();

 private:
  // A start or a new channel.
  struct Mark {
    uint32_t type;  // Of the index record.
    int64_t time_us;
    uint32_t media_type;  // Of a new channel, otherwise 0.

    bool operator==(const Mark& other) const {
      return type == other.type && time_us == other.time_us && media_type == other.media_type;
    }
  };

  // Marks in a row that only one of the two has.
  struct Run {
    uint64_t count = 0;
    int64_t first_us = 0;
  };

  void ReadAhead();
  void PassLine();
  void ReportRuns();

  FindingList* findings_;
  TimelineReader reader_;
  const bool has_timeline_;
  bool has_lines_;          // There may be more.
  std::deque<Mark> ahead_;  // Of the lines that follow.
  Run without_line_;        // Of the index.
  Run without_record_;      // Of the timeline.
  int64_t index_time_us_ = 0;
  uint64_t damaged_lines_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_TIMELINE_CHECK_H_
