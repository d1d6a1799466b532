#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/predict/size_estimate.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"

namespace kxrtc_tool {
namespace {

struct EstimateOptions {
  std::string record_dir;
  bool json = false;
};

ExitStatus Estimate(const EstimateOptions& options) {
  kxrtc_host::RecordFiles files;
  files.Open(options.record_dir);
  const std::optional<uint64_t> size = EstimateMp4Bytes(files.descriptor);
  if (!size) {
    return Fail(kExitRecordUnreadable,
                options.record_dir + " contains no readable record descriptor");
  }
  if (options.json) {
    Json::Value line;
    line["estimated_bytes"] = Json::UInt64{*size};
    PrintJsonLine(line);
  } else {
    std::printf("%s (%.1f MB), audio not counted\n", kxrtc_host::CountText(*size, "byte").c_str(),
                static_cast<double>(*size) / 1e6);
  }
  return kExitOk;
}

}  // namespace

void AddEstimateCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<EstimateOptions>();
  CLI::App* command =
      app.add_subcommand("estimate", "Estimate the size of the MP4 of a record in encode mode");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  command->add_flag("-j,--json", options->json, "Print one line of JSON");
  command->footer("Example:\n  kxrtc estimate ~/records/monday\n");
  command->callback([options, exit_status] { *exit_status = Estimate(*options); });
}

}  // namespace kxrtc_tool
