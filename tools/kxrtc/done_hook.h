// The user's command that is run for an MP4 that is complete.
#ifndef TOOLS_KXRTC_DONE_HOOK_H_
#define TOOLS_KXRTC_DONE_HOOK_H_

#include <string>
#include <utility>
#include <vector>

#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {

// Names and values that the command gets in its environment.
using HookFacts = std::vector<std::pair<std::string, std::string>>;

// Runs `command` by the shell, in a process group of its own, with standard error as its standard
// output, and waits. After a stop signal the group is ended within `signals`' time. The result is
// the exit status of the command, 128 + n after signal n, or 127 where it could not be started.
// Threads: the one that made `signals`.
int RunDoneHook(const std::string& command, const HookFacts& facts, StopSignals* signals);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_DONE_HOOK_H_
