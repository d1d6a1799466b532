#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "record/check/adts.h"
#include "record/check/descriptor_check.h"
#include "record/repair/record_repair.h"
#include "record/show/record_documents.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/record_tables.h"
#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {
namespace {

struct RepairCommandOptions {
  std::string record_dir;
  std::string new_dir;
  std::optional<uint32_t> channels;
  bool json = false;
};

ExitStatus StatusOfFailure(const kxrtc_host::RepairResult& result, const StopSignals& signals) {
  if (signals.signal_number() != 0) return signals.exit_status();
  if (result.source_refused) return kExitRecordUnreadable;
  if (result.target_refused) return kExitOutputRefused;
  return result.target_failed ? kExitOutputFailed : kExitFailure;
}

ExitStatus Repair(const RepairCommandOptions& options) {
  StopSignals signals;
  kxrtc_host::RepairOptions repair;
  repair.audio_channels = options.channels;
  repair.is_wanted = [&signals] { return !signals.IsStopped(); };
  const kxrtc_host::RepairResult result = RepairRecord(options.record_dir, options.new_dir, repair);
  if (options.json) {
    PrintJsonLine(kxrtc_host::RepairDocument(result));
  } else if (result.repaired) {
    PrintRepair(result);
  }
  if (!result.warning.empty()) Warn(result.warning);
  if (result.repaired) return kExitOk;
  return Fail(StatusOfFailure(result, signals), result.error);
}

}  // namespace

void AddRepairCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<RepairCommandOptions>();
  CLI::App* command =
      app.add_subcommand("repair", "Write a repaired copy of a damaged record to a new folder");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the damaged record");
  paths->AddRecord(command, "NEW_DIR", &options->new_dir, "Folder to create; must not exist");
  command
      ->add_option("--channels", options->channels,
                   "Number of audio channels, if the record does not give it")
      ->check(CLI::Validator(
          [](const std::string& text) {
            const bool is_count = text.size() == 1 && kxrtc_host::IsAacChannelCount(text[0] - '0');
            return is_count ? "" : text + ": AAC cannot have this number of channels";
          },
          "1-6|8"));
  command->add_flag("-j,--json", options->json, "Print a JSON document");
  command->footer("Example:\n  kxrtc repair ~/records/monday ~/records/monday-repaired\n");
  command->callback([options, exit_status] { *exit_status = Repair(*options); });
}

}  // namespace kxrtc_tool
