// The JSON documents of the record tools (docs/tool_records.md): versioned, members sorted, the
// same text for the same record each time. Times are integers in microseconds. Threads: any.
#ifndef HOST_RECORD_RECORD_DOCUMENTS_H_
#define HOST_RECORD_RECORD_DOCUMENTS_H_

#include <string>

#include "host/record/index_walker.h"
#include "host/record/record_repair.h"
#include "host/record/record_summary.h"

namespace Json {
class Value;
}

namespace kxrtc_host {

// Rises when a member changes its meaning or goes away.
inline constexpr int kDocumentVersion = 1;

Json::Value InfoDocument(const RecordSummary& summary);
Json::Value VerifyDocument(const RecordSummary& summary);
Json::Value RepairDocument(const RepairResult& result);

// Everything that the report page shows. `video_url` may be empty.
Json::Value ReportDocument(const RecordSummary& summary, const std::string& video_url);

// One element of the dump document.
Json::Value RecordElement(const IndexRecord& record);

// On one line, ASCII only.
std::string JsonText(const Json::Value& value);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_RECORD_DOCUMENTS_H_
