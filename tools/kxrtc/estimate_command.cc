#include "tools/kxrtc/estimate_command.h"

#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "host/record/size_estimate.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"

namespace kxrtc_tool {
namespace {

struct EstimateOptions {
  std::string record_dir;
  bool json = false;
};

ExitStatus Estimate(const EstimateOptions& options) {
  const std::optional<uint64_t> size = kxrtc_host::EstimateMp4Bytes(options.record_dir);
  if (!size) {
    std::fprintf(stderr, "kxrtc: %s holds no readable record descriptor\n",
                 options.record_dir.c_str());
    return kExitRecordUnreadable;
  }
  if (options.json) {
    Json::Value line;
    line["estimated_bytes"] = Json::UInt64{*size};
    PrintJsonLine(line);
  } else {
    std::printf("%" PRIu64 " bytes (%.1f MB), audio not counted\n", *size,
                static_cast<double>(*size) / 1e6);
  }
  return kExitOk;
}

}  // namespace

void AddEstimateCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<EstimateOptions>();
  CLI::App* command =
      app.add_subcommand("estimate", "Tell how large the MP4 of a record will be in encode mode");
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the record")->required();
  command->add_flag("--json", options->json, "Print one line of JSON");
  command->footer("Example:\n  kxrtc estimate ~/records/monday\n");
  command->callback([options, exit_status] { *exit_status = Estimate(*options); });
}

}  // namespace kxrtc_tool
