// kxrtc dump: every record of an index.
#ifndef TOOLS_KXRTC_DUMP_COMMAND_H_
#define TOOLS_KXRTC_DUMP_COMMAND_H_

namespace CLI {
class App;
}

namespace kxrtc_tool {

// Adds the subcommand; it stores its ExitStatus through `exit_status`, which outlives `app`.
void AddDumpCommand(CLI::App& app, int* exit_status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_DUMP_COMMAND_H_
