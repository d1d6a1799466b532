// What kxrtc says to a command line that it does not accept.
#ifndef TOOLS_KXRTC_USAGE_ERRORS_H_
#define TOOLS_KXRTC_USAGE_ERRORS_H_

#include <string>
#include <vector>

#include "tools/kxrtc/exit_status.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace kxrtc_tool {

// True when the arguments have --json, or -j in any group of letters, before "--".
bool AsksForJson(const std::vector<std::string>& arguments);

// Why `app` did not accept its arguments, and what may have been meant.
std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error);

bool IsSubcommand(const CLI::App& app, const std::string& name);

// There is no subcommand `name` of `app`.
std::string NoSubcommandText(const CLI::App& app, const std::string& name);

// Prints `why` and where to read on: on standard error, and with `json` as a line of standard
// output too. `command`: the subcommand, or empty.
ExitStatus RefuseUsage(const std::string& command, const std::string& why, bool json);

// The name of the subcommand that was given, or empty.
std::string SubcommandOf(const CLI::App& app);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_USAGE_ERRORS_H_
