#include "tools/kxrtc/info_command.h"

#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "host/record/record_analysis.h"
#include "host/record/record_documents.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/record_tables.h"

namespace kxrtc_tool {
namespace {

struct InfoOptions {
  std::string record_dir;
  bool json = false;
};

ExitStatus Info(const InfoOptions& options) {
  kxrtc_host::AnalysisOptions analysis;
  analysis.run_replay = false;
  const kxrtc_host::RecordSummary summary = kxrtc_host::AnalyseRecord(options.record_dir, analysis);
  if (options.json) {
    std::printf("%s\n", kxrtc_host::JsonText(kxrtc_host::InfoDocument(summary)).c_str());
  } else if (summary.index_records > 0) {
    PrintInfo(summary);
  }
  if (summary.index_records > 0) return kExitOk;
  std::fprintf(stderr, "kxrtc: %s holds no readable record\n", options.record_dir.c_str());
  return kExitRecordUnreadable;
}

}  // namespace

void AddInfoCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App* command = app.add_subcommand("info", "Tell what a record holds");
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the record")->required();
  command->add_flag("--json", options->json, "Print a JSON document");
  command->footer("Example:\n  kxrtc info ~/records/monday\n");
  command->callback([options, exit_status] { *exit_status = Info(*options); });
}

}  // namespace kxrtc_tool
