// Takes names, title and numbers of users out of a speaker timeline: they become "Speaker 1" and 1,
// "Speaker 2" and 2, in the order in which they come. Unknown members are left out. A damaged line
// becomes a damaged line of the same length.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_TIMELINE_MASK_H_
#define RECORD_BUNDLE_TIMELINE_MASK_H_

#include <cstdint>
#include <map>
#include <string>

#include "files/read_only_file.h"
#include "record/speakers/timeline_reader.h"

namespace kxrtc_host {

class TimelineMask {
 public:
  // Opens the timeline of the record in `folder`. False: there is none that can be read.
  [[nodiscard]] bool Open(const std::string& folder);

  // The next part of the text. False at the end.
  [[nodiscard]] bool Next(std::string* text);

 private:
  std::string HeaderLine() const;
  std::string EntryLine(TimelineEntry entry);
  bool NextUnread(std::string* text);
  uint32_t NumberOf(uint32_t user_id);

  TimelineReader reader_;
  ReadOnlyFile unread_;  // Of a timeline that is none, or of another version.
  uint64_t unread_position_ = 0;
  bool is_begun_ = false;
  bool is_at_end_ = false;
  std::map<uint32_t, uint32_t> numbers_;  // By user.
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_TIMELINE_MASK_H_
