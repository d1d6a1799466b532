// The exit statuses of kxrtc, the same for every subcommand (docs/tool.md), and their messages.
#ifndef TOOLS_KXRTC_EXIT_STATUS_H_
#define TOOLS_KXRTC_EXIT_STATUS_H_

#include <cstdio>
#include <string>

#include "tools/kxrtc/terminal_text.h"

namespace kxrtc_tool {

enum ExitStatus : int {
  kExitOk = 0,
  kExitFailure = 1,           // Any failure without its own number.
  kExitUsage = 2,             // Unknown or conflicting options.
  kExitRecordUnreadable = 3,  // The input cannot be opened or is not a record (transcode error 1).
  kExitOutputFailed = 4,      // Writing the output failed half-way (transcode error 2).
  kExitOutputRefused = 5,     // The output cannot be created, or exists (transcode error 3).
  kExitReplayFailed = 6,      // The record is damaged (transcode error 4).
  kExitRecordIncomplete =
      7,  // Done, but the record is cut short: the output has everything before that.
  kExitNothingToPlay = 8,      // The record contains no media; there is no output.
  kExitScenarioInvalid = 9,    // The scenario is not as docs/scenario.md describes it.
  kExitSourceUnreadable = 10,  // A participant's media cannot be opened.
  kExitSourceRefused = 11,     // A participant's video is not H.264.
  kExitWarningsFound = 12,     // Done, with warnings about the record or the stream.
  kExitErrorsFound = 13,       // kxrtc verify: errors.
  kExitHookFailed = 14,        // The MP4 is complete, the command of --on-done failed.
  kExitOutputBusy = 75,        // Another process makes the output: later is another matter.
};

// The status of a program that a signal stopped, as shells count it. There is no output.
constexpr ExitStatus StoppedBy(int signal_number) {
  return static_cast<ExitStatus>(128 + signal_number);
}

// Prints why the result is `status`, and returns it.
inline ExitStatus Fail(ExitStatus status, const std::string& why) {
  std::fprintf(stderr, "kxrtc: %s\n", TerminalText(why).c_str());
  return status;
}

// Prints what the user should know of a run that goes on or succeeded.
inline void Warn(const std::string& text) {
  std::fprintf(stderr, "kxrtc: warning: %s\n", TerminalText(text).c_str());
}

// As Fail(), for a folder without a record.
inline ExitStatus FailWithoutRecord(const std::string& folder) {
  return Fail(kExitRecordUnreadable, folder + " contains no readable record");
}

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_EXIT_STATUS_H_
