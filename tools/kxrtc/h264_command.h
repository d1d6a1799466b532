// kxrtc h264: what an H.264 byte stream consists of, and a copy with rewritten parameter sets.
#ifndef TOOLS_KXRTC_H264_COMMAND_H_
#define TOOLS_KXRTC_H264_COMMAND_H_

namespace CLI {
class App;
}

namespace kxrtc_tool {

// Adds the subcommand; it stores its ExitStatus through `exit_status`, which outlives `app`.
void AddH264Command(CLI::App& app, int* exit_status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_H264_COMMAND_H_
