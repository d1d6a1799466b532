// Follows the sessions of an index and reports where their grammar is broken: start, then channel,
// attributes, video and audio records, then stop.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_STRUCTURE_CHECK_H_
#define HOST_RECORD_STRUCTURE_CHECK_H_

#include <cstdint>
#include <optional>

#include "host/record/index_walker.h"
#include "host/record/record_summary.h"

namespace kxrtc_host {

class StructureCheck {
 public:
  // `summary` is borrowed: sessions, switches, channels and findings are written.
  explicit StructureCheck(RecordSummary* summary) : summary_(summary) {}

  void OnRecord(const IndexRecord& record);

  // A step of the walker that is not a record: findings only, with the time of the record before
  // it.
  void OnStep(IndexWalker::Step step, const IndexRecord& record, uint64_t bytes);

  // Behind the last step.
  void Finish();

  // The open session, for the sums of others; null between sessions.
  SessionSummary* session() { return in_session_ ? &session_ : nullptr; }
  uint32_t media_type() const { return media_type_; }

 private:
  void StartSession(int64_t time_us);
  void EndSession();
  void OnStart(const IndexRecord& record);
  void OnStop(const IndexRecord& record);
  void OnChannel(const IndexRecord& record);
  void EndChannel(int64_t time_us);

  RecordSummary* summary_;
  bool in_session_ = false;
  std::optional<int64_t> last_time_us_;  // Of the last record, in a session or not.
  SessionSummary session_;
  uint32_t media_type_ = 0;
  int64_t channel_start_us_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_STRUCTURE_CHECK_H_
