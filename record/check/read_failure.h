// The finding about a file of a record that cannot be read to its end.
// Threads: any.
#ifndef RECORD_CHECK_READ_FAILURE_H_
#define RECORD_CHECK_READ_FAILURE_H_

#include <cstdint>
#include <optional>

#include "files/read_only_file.h"
#include "record/check/finding.h"

namespace kxrtc_host {

// The latest read of `file` gave too few bytes. `name` begins the text: "the index".
void ReportReadFailure(const ReadOnlyFile& file, const char* name, std::optional<int64_t> time_us,
                       FindingList* findings);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_READ_FAILURE_H_
