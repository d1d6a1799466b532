#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "record/index/record_text.h"
#include "record/repair/record_repair.h"
#include "record/show/record_documents.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/examine_record.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/record_tables.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::CountText;
using kxrtc_host::Severity;

struct VerifyOptions {
  std::string record_dir;
  bool json = false;
  bool quick = false;
};

ExitStatus StatusOf(Severity verdict) {
  if (verdict == Severity::kError) return kExitErrorsFound;
  return verdict == Severity::kWarning ? kExitWarningsFound : kExitOk;
}

ExitStatus Verify(const VerifyOptions& options) {
  const auto sound = options.quick ? SoundExamination::kNone : SoundExamination::kEveryFrame;
  kxrtc_host::RecordSummary summary;
  std::string error;
  if (!ExamineRecord(options.record_dir, sound, &summary, &error)) return Fail(kExitFailure, error);
  const kxrtc_host::FindingList& findings = summary.findings;
  std::optional<kxrtc_host::RepairResult> preview;
  if (MayHelpRepair(summary)) preview = kxrtc_host::PreviewRepair(options.record_dir, {});
  if (options.json) {
    PrintJsonLine(kxrtc_host::VerifyDocument(summary, preview));
  } else {
    PrintFindings(findings);
    PrintReplay(summary, preview);
    std::printf("\n%s: %s, %s%s\n", findings.Verdict() == Severity::kInfo ? "clean" : "not clean",
                CountText(findings.count(Severity::kError), "error").c_str(),
                CountText(findings.count(Severity::kWarning), "warning").c_str(),
                summary.sound_examined ? "" : "; sound not examined");
  }
  return StatusOf(findings.Verdict());
}

}  // namespace

void AddVerifyCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<VerifyOptions>();
  CLI::App* command =
      app.add_subcommand("verify", "Check a record and predict the MP4 made from it");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  command->add_flag("--json", options->json, "Print a JSON document");
  command->add_flag("--quick", options->quick, "Do not try the sound with a decoder");
  command->footer(
      "Exit status: 0 clean, 12 warnings, 13 errors. docs/tool_records.md explains each finding.\n"
      "Example:\n  kxrtc verify ~/records/monday\n");
  command->callback([options, exit_status] { *exit_status = Verify(*options); });
}

}  // namespace kxrtc_tool
