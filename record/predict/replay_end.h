// Where the replay of a record ends, and why.
// Threads: any; plain values.
#ifndef RECORD_PREDICT_REPLAY_END_H_
#define RECORD_PREDICT_REPLAY_END_H_

#include <cstdint>
#include <optional>
#include <string>

#include "record/index/index_state.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

enum class RecordEnd {
  kComplete,       // The index ends after a stop record.
  kCutShort,       // It ends without one or inside a record: the recording host crashed. A replay
                   // gives everything before that.
  kFrameMissing,   // A frame has no bytes (any more). A replay gives everything before it.
  kFrameTooLarge,  // A frame is larger than any encoder makes one.
  kDamaged,        // It breaks the rules of the format; a replay stops there.
  kUnreadable,     // The index became shorter, or the disk failed.
};

struct ReplayEnd {
  RecordEnd end = RecordEnd::kComplete;
  std::string reason;  // What is wrong, and where; empty for kComplete.
};

// Why the replay ends at a record that has `fault` in its place, or more bytes than
// `max_frame_bytes`.
ReplayEnd EndOf(const IndexRecord& record, RecordFault fault, uint32_t max_frame_bytes);

// The end at this record; none if the replay continues.
inline std::optional<ReplayEnd> EndAtRecord(const IndexRecord& record, RecordFault fault,
                                            uint32_t max_frame_bytes) {
  const bool is_too_large = record.IsMedia() && record.data.size > max_frame_bytes;
  if (fault == RecordFault::kNone && !is_too_large) return std::nullopt;
  return EndOf(record, fault, max_frame_bytes);
}

// The end at a step that is not a record. `offset`: of the bytes concerned in the index.
// `in_session`: a session is open. `sessions`: so many were started.
ReplayEnd EndAtStep(IndexWalker::Step step, uint64_t offset, bool in_session, uint64_t sessions);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_REPLAY_END_H_
