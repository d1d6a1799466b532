#include "record/check/read_failure.h"

#include <string>

namespace kxrtc_host {

void ReportReadFailure(const ReadOnlyFile& file, const char* name, std::optional<int64_t> time_us,
                       FindingList* findings) {
  findings->Add(file.has_read_error() ? FindingCode::kFileUnreadable : FindingCode::kFileChanged,
                time_us, std::string(name) + " " + file.ReadFailureText());
}

}  // namespace kxrtc_host
