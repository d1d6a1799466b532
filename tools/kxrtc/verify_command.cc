#include <json/value.h>

#include <CLI/CLI.hpp>
#include <algorithm>
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
#include "tools/kxrtc/path_list.h"
#include "tools/kxrtc/picture_options.h"
#include "tools/kxrtc/record_tables.h"
#include "tools/kxrtc/terminal_text.h"
#include "tools/kxrtc/usage_errors.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::CountText;
using kxrtc_host::Severity;

struct VerifyOptions {
  std::string record_dir;
  std::string list;  // Of folders; empty: there is only record_dir.
  bool zero_bytes = false;
  bool json = false;
  bool quick = false;
  PictureOptions picture;
};

ExitStatus StatusOf(Severity verdict) {
  if (verdict == Severity::kError) return kExitErrorsFound;
  return verdict == Severity::kWarning ? kExitWarningsFound : kExitOk;
}

ExitStatus VerifyOne(const VerifyOptions& options, const std::string& record_dir) {
  const auto sound = options.quick ? SoundExamination::kNone : SoundExamination::kEveryFrame;
  kxrtc_host::RecordSummary summary;
  std::string error;
  kxrtc_host::AnalysisOptions analysis;
  if (options.picture.choice.frame_rate != 0) {
    analysis.frame_rate = options.picture.choice.frame_rate;
  }
  if (!ExamineRecord(record_dir, sound, &summary, &error, analysis)) {
    return Fail(kExitFailure, error);
  }
  const kxrtc_host::FindingList& findings = summary.findings;
  std::optional<kxrtc_host::RepairResult> preview;
  if (MayHelpRepair(summary)) preview = kxrtc_host::PreviewRepair(record_dir, {});
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

// The worst status of all. Ends early where no further record can be verified.
ExitStatus VerifyList(const VerifyOptions& options) {
  PathList list;
  if (!list.Open(options.list,
                 options.zero_bytes ? PathList::End::kZeroByte : PathList::End::kLine)) {
    return Fail(kExitFailure, list.error());
  }
  ExitStatus worst = kExitOk;
  std::string record_dir;
  bool is_first = true;
  while (list.Next(&record_dir)) {
    if (!options.json) {
      std::printf("%s%s:\n", is_first ? "" : "\n", TerminalText(record_dir).c_str());
    }
    is_first = false;
    const ExitStatus status = VerifyOne(options, record_dir);
    if (status == kExitFailure || std::ferror(stdout) != 0) return status;
    worst = std::max(worst, status);
  }
  return list.error().empty() ? worst : Fail(kExitFailure, list.error());
}

ExitStatus Verify(const VerifyOptions& options) {
  if (!options.list.empty()) return VerifyList(options);
  if (!options.record_dir.empty()) return VerifyOne(options, options.record_dir);
  return RefuseUsage("verify", "RECORD_DIR is required, or --files-from", options.json);
}

}  // namespace

void AddVerifyCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<VerifyOptions>();
  CLI::App* command =
      app.add_subcommand("verify", "Check a record and predict the MP4 made from it");
  CLI::Option* const record =
      paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record")
          ->required(false);
  CLI::Option* const list =
      paths
          ->AddPathList(command, "--files-from", &options->list,
                        "Verify all records whose folders this file lists, one a line; - is "
                        "standard input")
          ->excludes(record);
  command
      ->add_flag("-0,--null", options->zero_bytes,
                 "A zero byte ends each folder of --files-from, not a new line")
      ->needs(list);
  command->add_flag("-j,--json", options->json, "Print a JSON document");
  command->add_flag("--quick", options->quick, "Do not try the sound with a decoder");
  AddFrameRateOption(command, &options->picture);
  command->footer(
      "Exit status: 0 clean, 12 warnings, 13 errors. docs/tool_records.md explains each\n"
      "finding.\n"
      "Examples:\n"
      "  kxrtc verify ~/records/monday\n"
      "  kxrtc list ~/records --print0 | kxrtc verify --files-from - --null\n");
  command->callback([options, exit_status] { *exit_status = Verify(*options); });
}

}  // namespace kxrtc_tool
