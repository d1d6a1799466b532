// Reads a whole record once and sums it up. The record is never changed; memory stays bounded
// whatever the files hold.
// Threads: any; blocks while it reads.
#ifndef HOST_RECORD_RECORD_ANALYSIS_H_
#define HOST_RECORD_RECORD_ANALYSIS_H_

#include <string>

#include "host/record/record_summary.h"

namespace kxrtc_host {

struct AnalysisOptions {
  bool run_replay = true;  // Also run the library's replay (dry_run.h).
};

// `folder` with or without its trailing separator. Never fails: what cannot be read is a finding.
RecordSummary AnalyseRecord(const std::string& folder, const AnalysisOptions& options);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_RECORD_ANALYSIS_H_
