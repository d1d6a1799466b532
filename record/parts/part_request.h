// Which parts of the MP4 of a record somebody wants. Plain values. Threads: any.
#ifndef RECORD_PARTS_PART_REQUEST_H_
#define RECORD_PARTS_PART_REQUEST_H_

#include <cstdint>
#include <optional>
#include <vector>

namespace kxrtc_host {

// From `from_us` on, up to but without `to_us`.
struct TimeRange {
  int64_t from_us = 0;
  int64_t to_us = 0;
};

// No part ends later.
inline constexpr int64_t kNoPartEnd = int64_t{1} << 61;

// All times in microseconds of the MP4 of the whole record.
struct PartRequest {
  int64_t from_us = 0;  // Not negative.
  int64_t to_us = kNoPartEnd;
  std::vector<TimeRange> cuts;  // What is removed; in any order.

  // Copied video: the key frame from which pictures stay in the file, hidden, so that those from
  // `from_us` on can be decoded. Without it the video starts at the next key frame.
  std::optional<int64_t> lead_in_us;

  bool IsWhole() const { return from_us <= 0 && to_us >= kNoPartEnd && cuts.empty(); }
};

}  // namespace kxrtc_host

#endif  // RECORD_PARTS_PART_REQUEST_H_
