#include "tools/kxrtc/dump_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "host/record/record_dump.h"
#include "host/record/text.h"
#include "tools/kxrtc/exit_status.h"

namespace kxrtc_tool {
namespace {

struct DumpCommandOptions {
  std::string record_dir;
  std::string from;
  std::string to;
  bool json = false;
};

// CLI11's validators answer with a message, empty when all is well.
std::string CheckTime(const std::string& text) {
  int64_t time_us = 0;
  if (kxrtc_host::ParseSeconds(text, &time_us)) return "";
  return text + " is no time in seconds";
}

ExitStatus Dump(const DumpCommandOptions& options) {
  kxrtc_host::DumpOptions dump;
  dump.json = options.json;
  if (!options.from.empty() && !kxrtc_host::ParseSeconds(options.from, &dump.from_us)) {
    return kExitUsage;
  }
  if (!options.to.empty() && !kxrtc_host::ParseSeconds(options.to, &dump.to_us)) return kExitUsage;
  if (dump.from_us > dump.to_us) {
    std::fprintf(stderr, "kxrtc: --from %s is later than --to %s\n", options.from.c_str(),
                 options.to.c_str());
    return kExitUsage;
  }
  const kxrtc_host::DumpResult result = DumpRecord(options.record_dir, dump, stdout);
  if (!result.readable) {
    std::fprintf(stderr, "kxrtc: %s\n", result.error.c_str());
    return kExitRecordUnreadable;
  }
  if (result.whole) return kExitOk;
  std::fprintf(stderr, "kxrtc: the index holds bytes that are no record\n");
  return kExitRecordIncomplete;
}

}  // namespace

void AddDumpCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<DumpCommandOptions>();
  CLI::App* command = app.add_subcommand("dump", "List every record of the index");
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the record")->required();
  command->add_option("--from", options->from, "First recorder time shown, in seconds")
      ->check(CLI::Validator(CheckTime, "SECONDS"));
  command->add_option("--to", options->to, "Last recorder time shown, in seconds")
      ->check(CLI::Validator(CheckTime, "SECONDS"));
  command->add_flag("--json", options->json, "Print a JSON document");
  command->footer("Example:\n  kxrtc dump ~/records/monday --from 12.5 --to 14\n");
  command->callback([options, exit_status] { *exit_status = Dump(*options); });
}

}  // namespace kxrtc_tool
