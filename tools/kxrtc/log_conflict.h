// Keeps the log away from the files that a subcommand works on.
#ifndef TOOLS_KXRTC_LOG_CONFLICT_H_
#define TOOLS_KXRTC_LOG_CONFLICT_H_

#include <CLI/CLI.hpp>
#include <string>

namespace kxrtc_tool {

// Why the log of the subcommand that `app` has parsed must not be written into `log`: that is a
// file of its record, one that it is given or to write, or a medium of its scenario. Empty: it may.
std::string ConflictOfLog(const CLI::App& app, const std::string& log);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_LOG_CONFLICT_H_
