// The analysis of a record with the examiners of the host.
#ifndef TOOLS_KXRTC_EXAMINE_RECORD_H_
#define TOOLS_KXRTC_EXAMINE_RECORD_H_

#include <string>

#include "record/check/record_summary.h"
#include "record/predict/record_analysis.h"

namespace kxrtc_tool {

enum class SoundExamination { kEveryFrame, kNone };

// Loads FFmpeg only for a record that needs it. On false `*error` says why that is not possible.
// `options`: what else is wanted; its examiners are replaced.
[[nodiscard]] bool ExamineRecord(const std::string& folder, SoundExamination sound,
                                 kxrtc_host::RecordSummary* summary, std::string* error,
                                 kxrtc_host::AnalysisOptions options = {});

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_EXAMINE_RECORD_H_
