#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "record/index/record_files.h"
#include "record/show/record_documents.h"
#include "record/speakers/speaker_timeline.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/examine_record.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/record_tables.h"

namespace kxrtc_tool {
namespace {

struct InfoOptions {
  std::string record_dir;
  bool json = false;
};

ExitStatus Info(const InfoOptions& options) {
  kxrtc_host::RecordSummary summary;
  std::string error;
  if (!ExamineRecord(options.record_dir, SoundExamination::kNone, &summary, &error)) {
    return Fail(kExitFailure, error);
  }
  const kxrtc_host::SpeakerTimeline timeline = kxrtc_host::ReadSpeakerTimeline(
      kxrtc_host::RecordFolderPath(options.record_dir),
      summary.sessions.empty() ? 0 : summary.sessions.back().end_us);
  if (options.json) {
    Json::Value document = kxrtc_host::InfoDocument(summary);
    kxrtc_host::AddSpeakerTimeline(timeline, &document);
    PrintJsonLine(document);
  } else if (summary.index_records > 0) {
    PrintInfo(summary);
    PrintSpeakerTimeline(timeline);
  }
  if (summary.index_records > 0) return kExitOk;
  return FailWithoutRecord(options.record_dir);
}

}  // namespace

void AddInfoCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* command = app.add_subcommand("info", "Show what a record contains");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  command->add_flag("-j,--json", options->json, "Print a JSON document");
  command->footer("Example:\n  kxrtc info ~/records/monday\n");
  command->callback([options, exit_status] { *exit_status = Info(*options); });
}

}  // namespace kxrtc_tool
