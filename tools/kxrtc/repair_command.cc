#include "tools/kxrtc/repair_command.h"

#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "host/record/descriptor_check.h"
#include "host/record/record_documents.h"
#include "host/record/record_repair.h"
#include "host/shared/adts.h"
#include "tools/kxrtc/exit_status.h"
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

ExitStatus Repair(const RepairCommandOptions& options) {
  StopSignals signals;
  kxrtc_host::RepairOptions repair;
  repair.audio_channels = options.channels;
  repair.is_wanted = [&signals] { return !signals.IsStopped(); };
  const kxrtc_host::RepairResult result = RepairRecord(options.record_dir, options.new_dir, repair);
  if (options.json) {
    std::printf("%s\n", kxrtc_host::JsonText(kxrtc_host::RepairDocument(result)).c_str());
  } else if (result.repaired) {
    PrintRepair(result);
  }
  if (result.repaired) return kExitOk;
  std::fprintf(stderr, "kxrtc: %s\n", result.error.c_str());
  if (signals.signal_number() != 0) return signals.exit_status();
  if (result.source_refused) return kExitRecordUnreadable;
  if (result.target_refused) return kExitOutputRefused;
  return result.target_failed ? kExitOutputFailed : kExitFailure;
}

}  // namespace

void AddRepairCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<RepairCommandOptions>();
  CLI::App* command =
      app.add_subcommand("repair", "Make a valid record out of a torn one, in a new folder");
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the torn record")->required();
  command->add_option("NEW_DIR", options->new_dir, "Folder to make; must not exist")->required();
  command
      ->add_option("--channels", options->channels,
                   "Audio channels, where the record does not tell")
      ->check(CLI::Validator(
          [](const std::string& text) {
            const bool is_count = text.size() == 1 && kxrtc_host::IsAacChannelCount(text[0] - '0');
            return is_count ? "" : text + " is no number of channels that AAC can have";
          },
          "1-6|8"));
  command->add_flag("--json", options->json, "Print a JSON document");
  command->footer("Example:\n  kxrtc repair ~/records/monday ~/records/monday-repaired\n");
  command->callback([options, exit_status] { *exit_status = Repair(*options); });
}

}  // namespace kxrtc_tool
