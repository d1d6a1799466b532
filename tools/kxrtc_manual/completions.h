// Scripts with which shells complete a command line of kxrtc: subcommands, options, their values,
// and files or folders where an argument is one.
#ifndef TOOLS_KXRTC_MANUAL_COMPLETIONS_H_
#define TOOLS_KXRTC_MANUAL_COMPLETIONS_H_

#include <string>

#include "tools/kxrtc_manual/command_model.h"

namespace kxrtc_manual {

std::string BashCompletion(const ProgramModel& model);
std::string FishCompletion(const ProgramModel& model);
std::string ZshCompletion(const ProgramModel& model);

// The first line of a description.
std::string FirstLine(const std::string& description);

// `text` as one word of a shell, between single quotes.
std::string SingleQuoted(const std::string& text);

// `parts` with spaces between them.
std::string Joined(const std::vector<std::string>& parts);

}  // namespace kxrtc_manual

#endif  // TOOLS_KXRTC_MANUAL_COMPLETIONS_H_
