// The JSON documents of the record tools (docs/tool_records.md): versioned, members sorted, the
// same text for the same record each time. Times are integers in microseconds. Threads: any.
#ifndef RECORD_SHOW_RECORD_DOCUMENTS_H_
#define RECORD_SHOW_RECORD_DOCUMENTS_H_

#include <optional>
#include <string>

#include "record/check/record_summary.h"
#include "record/index/index_walker.h"
#include "record/repair/record_repair.h"
#include "record/speakers/speaker_timeline.h"

namespace Json {
class Value;
}

namespace kxrtc_host {

// Increases when a member changes its meaning or is removed.
inline constexpr int kDocumentVersion = 1;

// The members that every document has.
Json::Value Document(const char* name);

Json::Value InfoDocument(const RecordSummary& summary);
// Adds the member "speaker_timeline", unless there is none beside the record.
void AddSpeakerTimeline(const SpeakerTimeline& timeline, Json::Value* document);

// `preview`: of the repair that the record needs; none if it needs none.
Json::Value VerifyDocument(const RecordSummary& summary,
                           const std::optional<RepairResult>& preview = std::nullopt);
Json::Value RepairDocument(const RepairResult& result);

// Everything that the report page shows. `video_url` may be empty.
Json::Value ReportDocument(const RecordSummary& summary, const std::string& video_url);

// One element of the dump document.
Json::Value RecordElement(const IndexRecord& record);

// On one line, ASCII only.
std::string JsonText(const Json::Value& value);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_RECORD_DOCUMENTS_H_
