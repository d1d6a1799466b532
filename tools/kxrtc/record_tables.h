// Prints what the record tools found out, for people.
#ifndef TOOLS_KXRTC_RECORD_TABLES_H_
#define TOOLS_KXRTC_RECORD_TABLES_H_

#include "host/record/record_repair.h"
#include "host/record/record_summary.h"

namespace kxrtc_tool {

void PrintInfo(const kxrtc_host::RecordSummary& summary);
void PrintFindings(const kxrtc_host::FindingList& findings);
void PrintReplay(const kxrtc_host::ReplayPrediction& replay);
void PrintRepair(const kxrtc_host::RepairResult& result);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_RECORD_TABLES_H_
