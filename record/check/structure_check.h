// Follows the sessions of an index and reports records in the wrong order. The right order: start,
// then channel, attributes, video and audio records, then stop.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_STRUCTURE_CHECK_H_
#define RECORD_CHECK_STRUCTURE_CHECK_H_

#include <cstdint>
#include <optional>

#include "record/check/record_summary.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

class StructureCheck {
 public:
  // All are borrowed. Writes sessions, switches, channels and findings of the summary.
  StructureCheck(const ReadOnlyFile* index, const IndexState* state, RecordSummary* summary)
      : index_(index), state_(state), summary_(summary) {}

  // The next record, which has `fault` in its place and which the state has not taken yet.
  void OnRecord(const IndexRecord& record, RecordFault fault);

  // A step of the walker that is not a record: findings only, with the time of the record before
  // it.
  void OnStep(IndexWalker::Step step, const IndexRecord& record, uint64_t bytes);

  // After the last step.
  void Finish();

  // The session of the latest record, where others add their sums; null: outside of a session.
  SessionSummary* session() { return session_ ? &*session_ : nullptr; }
  // The sums of the current channel.
  ChannelTotals* channel() { return &summary_->channels[channel_key_]; }

 private:
  void StartSession(int64_t time_us);
  void EndSession();
  void OnChannel(const IndexRecord& record);
  void EndChannel(int64_t time_us);

  const ReadOnlyFile* index_;
  const IndexState* state_;
  RecordSummary* summary_;
  std::optional<int64_t> last_time_us_;    // Of the last record, in a session or not.
  std::optional<SessionSummary> session_;  // While one is open.
  uint32_t channel_key_ = 0;               // Of the table of channels.
  int64_t channel_start_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_STRUCTURE_CHECK_H_
