// Man pages in the macros of man(7).
#ifndef TOOLS_KXRTC_MANUAL_MAN_PAGE_H_
#define TOOLS_KXRTC_MANUAL_MAN_PAGE_H_

#include <string>
#include <vector>

#include "tools/kxrtc_manual/command_model.h"
#include "tools/kxrtc_manual/script_help.h"

namespace kxrtc_manual {

struct ExitStatusRow {
  std::string status;
  std::string meaning;
};

// What all pages have in common.
struct ManualFacts {
  std::string version;
  std::string date;  // YYYY-MM-DD
  std::vector<ExitStatusRow> exit_statuses;
};

// The rows of the table "Exit statuses" of docs/tool.md, without markup. Empty if `text` has none.
std::vector<ExitStatusRow> ReadExitStatuses(const std::string& text);

// kxrtc(1): what every subcommand has in common.
std::string ProgramPage(const ProgramModel& model, const ManualFacts& facts);

// kxrtc-NAME(1).
std::string CommandPage(const ProgramModel& model, const CommandModel& command,
                        const ManualFacts& facts);

// The page of a script beside kxrtc.
std::string ScriptPage(const ScriptHelp& help, const ManualFacts& facts);

}  // namespace kxrtc_manual

#endif  // TOOLS_KXRTC_MANUAL_MAN_PAGE_H_
