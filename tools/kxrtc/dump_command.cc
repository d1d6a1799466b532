#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "record/show/record_dump.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/terminal_text.h"
#include "tools/kxrtc/time_option.h"
#include "tools/kxrtc/usage_errors.h"

namespace kxrtc_tool {
namespace {

struct DumpCommandOptions {
  std::string record_dir;
  std::string from;
  std::string to;
  bool json = false;
};

ExitStatus Dump(const DumpCommandOptions& options) {
  kxrtc_host::DumpOptions dump;
  dump.json = options.json;
  dump.show_text = TerminalText;
  if (!options.from.empty() && !kxrtc_host::ParseTime(options.from, &dump.from_us)) {
    return kExitUsage;
  }
  if (!options.to.empty() && !kxrtc_host::ParseTime(options.to, &dump.to_us)) return kExitUsage;
  if (dump.from_us > dump.to_us) {
    return RefuseUsage("dump", "--from " + options.from + " is later than --to " + options.to,
                       options.json);
  }
  const kxrtc_host::DumpResult result = DumpRecord(options.record_dir, dump, stdout);
  if (!result.readable) return Fail(kExitRecordUnreadable, result.error);
  if (result.whole) return kExitOk;
  return Fail(kExitRecordIncomplete, "the index contains bytes that are not a record");
}

}  // namespace

void AddDumpCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<DumpCommandOptions>();
  CLI::App* command =
      app.add_subcommand("dump", "List every record of the index, and the speaker timeline");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  command->add_option("--from", options->from, "First recorder time shown")->check(TimeValidator());
  command->add_option("--to", options->to, "Last recorder time shown")->check(TimeValidator());
  command->add_flag("-j,--json", options->json, "Print a JSON document");
  command->footer("Example:\n  kxrtc dump ~/records/monday --from 12.5 --to 14\n");
  command->callback([options, exit_status] { *exit_status = Dump(*options); });
}

}  // namespace kxrtc_tool
