// Where copied pictures must start so that those of a part can be decoded.
// Threads: any; blocks while it reads.
#ifndef RECORD_PREDICT_LEAD_IN_H_
#define RECORD_PREDICT_LEAD_IN_H_

#include <cstdint>
#include <optional>

#include "record/index/record_files.h"

namespace kxrtc_host {

// The last key frame of the copied MP4 that is not behind `from_us`, both in its microseconds.
// Reads index and pictures up to there. Without a value there is none.
std::optional<int64_t> FindLeadIn(RecordFiles* files, int64_t from_us);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_LEAD_IN_H_
