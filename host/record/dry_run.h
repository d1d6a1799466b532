// Runs the library's own replay over a record into a writer that keeps nothing but sums.
// Threads: RunReplay() blocks its caller; the calls into the writer come from the worker.
#ifndef HOST_RECORD_DRY_RUN_H_
#define HOST_RECORD_DRY_RUN_H_

#include <cstdint>
#include <string>

#include "host/record/record_summary.h"

namespace kxrtc_host {

struct DryRunResult {
  bool completed = false;
  int32_t error_code = 0;  // A kxrtc::TranscodeErrorCode, 0 without error.
  uint64_t call_digest = 0;
  uint64_t video_samples = 0;
  uint64_t audio_samples = 0;
};

// Replays the record in `folder`, which ends in its separator, and waits for the end.
DryRunResult RunReplay(const std::string& folder);

// Runs the replay where that is safe and possible, and compares it with the prediction of the
// summary: findings replay.failed, replay.mismatch or replay.skipped. The replay opens the data
// files for writing although it writes nothing, so a record that may not be written is skipped.
void CompareWithReplay(RecordSummary* summary);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_DRY_RUN_H_
