// Prints the results of the record tools, for people.
#ifndef TOOLS_KXRTC_RECORD_TABLES_H_
#define TOOLS_KXRTC_RECORD_TABLES_H_

#include <optional>

#include "record/check/record_summary.h"
#include "record/repair/record_repair.h"
#include "record/speakers/speaker_timeline.h"

namespace kxrtc_tool {

void PrintInfo(const kxrtc_host::RecordSummary& summary);
void PrintSpeakerTimeline(const kxrtc_host::SpeakerTimeline& timeline);  // If there is one.
void PrintFindings(const kxrtc_host::FindingList& findings);
// `preview`: of the repair that the record needs; none if it needs none.
void PrintReplay(const kxrtc_host::RecordSummary& summary,
                 const std::optional<kxrtc_host::RepairResult>& preview);
void PrintRepair(const kxrtc_host::RepairResult& result);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_RECORD_TABLES_H_
