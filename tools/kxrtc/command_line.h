// The whole command line of kxrtc: its subcommands and all options.
#ifndef TOOLS_KXRTC_COMMAND_LINE_H_
#define TOOLS_KXRTC_COMMAND_LINE_H_

namespace CLI {
class App;
}  // namespace CLI

namespace kxrtc_tool {

class LogFile;
class PathOptions;

// What describes kxrtc in one sentence.
inline constexpr char kProgramDescription[] = "Makes, inspects and transcodes speaker records.";

// Adds every subcommand to `app`, and what the program takes without one. All outlive `app`.
void AddSubcommands(CLI::App& app, PathOptions* paths, int* exit_status);

// Adds the options of every subcommand, after the subcommands. The log is open before the
// subcommand runs.
void AddLogOptions(CLI::App& app, const PathOptions& paths, LogFile* log_file);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_COMMAND_LINE_H_
