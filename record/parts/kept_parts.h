// Maps the time of the MP4 of a whole record to the time of a file that has parts of it only.
// Threads: an object belongs to one thread at a time; its const functions any.
#ifndef RECORD_PARTS_KEPT_PARTS_H_
#define RECORD_PARTS_KEPT_PARTS_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "record/parts/part_request.h"

namespace kxrtc_host {

// "Whole" times are those of the MP4 of the whole record; all times are microseconds.
struct KeptPart {
  TimeRange whole;
  int64_t file_us = 0;        // Where it starts in the file.
  bool follows_cut = false;   // What is right before it is removed for good.
  bool precedes_cut = false;  // What is right behind it is.
};

class KeptParts {
 public:
  // Everything is kept.
  KeptParts() : KeptParts(PartRequest()) {}
  explicit KeptParts(const PartRequest& request);

  bool is_whole() const { return is_whole_; }

  // By their time; none is empty, and two do not touch.
  const std::vector<KeptPart>& parts() const { return parts_; }

  bool Keeps(int64_t whole_us) const;

  // Where `whole_us` is in the file. A time that is removed is where the next part starts, or the
  // end.
  int64_t FileTime(int64_t whole_us) const;

  // Where the last part ends, whole time; 0 without parts.
  int64_t end_us() const { return parts_.empty() ? 0 : parts_.back().whole.to_us; }

  // The request's lead-in, if there is one that contains nothing of a cut.
  std::optional<int64_t> lead_in_us() const;

  // True when a cut has a part of `range`.
  bool IsCut(const TimeRange& range) const;

 private:
  bool is_whole_;
  int64_t from_us_;
  std::optional<int64_t> lead_in_us_;
  std::vector<TimeRange> cuts_;  // By their time; none is empty, and two do not touch.
  std::vector<KeptPart> parts_;
};

// The ranges that are not empty, by their time, with those that touch joined.
std::vector<TimeRange> JoinedRanges(std::vector<TimeRange> ranges);

}  // namespace kxrtc_host

#endif  // RECORD_PARTS_KEPT_PARTS_H_
