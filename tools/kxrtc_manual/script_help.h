// The help text of a script beside kxrtc, such as kxrtc-batch, read as its man page wants it:
//
//   What it does
//   usage: NAME ARGUMENTS
//
//     -l, --long VALUE  what the option does,
//                       on several lines
//
//   Paragraphs, "Status: ..." and "Examples:", as behind the options of kxrtc.
#ifndef TOOLS_KXRTC_MANUAL_SCRIPT_HELP_H_
#define TOOLS_KXRTC_MANUAL_SCRIPT_HELP_H_

#include <string>

#include "tools/kxrtc_manual/command_model.h"

namespace kxrtc_manual {

struct ScriptHelp {
  CommandModel command;  // Without positionals.
  std::string arguments;
};

// False: `text` is not such a help.
[[nodiscard]] bool ReadScriptHelp(const std::string& text, ScriptHelp* help);

}  // namespace kxrtc_manual

#endif  // TOOLS_KXRTC_MANUAL_SCRIPT_HELP_H_
