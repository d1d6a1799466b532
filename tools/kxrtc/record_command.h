// kxrtc record: plays a scripted conference in real time and records it.
#ifndef TOOLS_KXRTC_RECORD_COMMAND_H_
#define TOOLS_KXRTC_RECORD_COMMAND_H_

namespace CLI {
class App;
}

namespace kxrtc_tool {

// Adds the subcommand; it stores its ExitStatus through `exit_status`, which outlives `app`.
void AddRecordCommand(CLI::App& app, int* exit_status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_RECORD_COMMAND_H_
