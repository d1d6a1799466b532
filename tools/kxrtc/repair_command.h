// kxrtc repair: makes a valid record out of a torn one.
#ifndef TOOLS_KXRTC_REPAIR_COMMAND_H_
#define TOOLS_KXRTC_REPAIR_COMMAND_H_

namespace CLI {
class App;
}

namespace kxrtc_tool {

// Adds the subcommand; it stores its ExitStatus through `exit_status`, which outlives `app`.
void AddRepairCommand(CLI::App& app, int* exit_status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_REPAIR_COMMAND_H_
