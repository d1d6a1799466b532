// Reads a speaker timeline line by line.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_SPEAKERS_TIMELINE_READER_H_
#define RECORD_SPEAKERS_TIMELINE_READER_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "files/read_only_file.h"
#include "record/speakers/timeline_entry.h"

namespace kxrtc_host {

class TimelineReader {
 public:
  enum class Step {
    kEntry,
    kUnknown,  // An event of a later writer.
    kDamaged,  // No event, or too long for one.
    kEnd,      // Of the file, or of its whole lines: the last one may be torn.
  };

  static constexpr uint64_t kMaxFileBytes = uint64_t{256} << 20;  // What follows is not read.

  // Opens the timeline of the record in `folder` and reads its first line. False if there is none
  // that can be read; problem() is then empty if the file does not exist. Call once.
  [[nodiscard]] bool Open(const std::string& folder);

  [[nodiscard]] Step Next();

  // In one line with the file; after kEnd also that reading failed.
  const std::string& problem() const { return problem_; }

  // The problem is a timeline of another version.
  bool has_other_version() const { return has_other_version_; }

  const TimelineHeader& header() const { return header_; }
  const TimelineEntry& entry() const { return entry_; }  // After kEntry.
  std::string_view line() const { return line_; }        // Of the latest step, with its newline.

  // Where the next line begins, and where the file ends.
  uint64_t position() const { return position_; }
  uint64_t end() const { return std::min(file_.size(), kMaxFileBytes); }

 private:
  const uint8_t* ViewAhead(size_t* size);
  bool NextLine();
  bool SkipLine();

  ReadOnlyFile file_;
  std::string problem_;
  TimelineHeader header_;
  TimelineEntry entry_;
  std::string_view line_;
  uint64_t position_ = 0;  // Of the next line.
  bool is_too_long_ = false;
  bool has_other_version_ = false;
};

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_TIMELINE_READER_H_
