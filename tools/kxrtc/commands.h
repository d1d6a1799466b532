// The subcommands of kxrtc, each in a source file with its name.
#ifndef TOOLS_KXRTC_COMMANDS_H_
#define TOOLS_KXRTC_COMMANDS_H_

#include "tools/kxrtc/path_options.h"

namespace kxrtc_tool {

// Each adds its subcommand, and its file options to `paths`. When the subcommand runs, it stores
// its ExitStatus in `exit_status`. Both outlive `app`.
void AddBundleCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddDumpCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddEncodersCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddEstimateCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddH264Command(CLI::App& app, PathOptions* paths, int* exit_status);
void AddInfoCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddListCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddRecordCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddRepairCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddReportCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddThumbnailsCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddTranscodeCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddVerifyCommand(CLI::App& app, PathOptions* paths, int* exit_status);
void AddVersionCommand(CLI::App& app, PathOptions* paths, int* exit_status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_COMMANDS_H_
