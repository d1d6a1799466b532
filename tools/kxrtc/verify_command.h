// kxrtc verify: what is wrong with a record, and what its MP4 will be like.
#ifndef TOOLS_KXRTC_VERIFY_COMMAND_H_
#define TOOLS_KXRTC_VERIFY_COMMAND_H_

namespace CLI {
class App;
}

namespace kxrtc_tool {

// Adds the subcommand; it stores its ExitStatus through `exit_status`, which outlives `app`.
void AddVerifyCommand(CLI::App& app, int* exit_status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_VERIFY_COMMAND_H_
