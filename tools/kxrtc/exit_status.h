// The exit statuses of kxrtc, the same for every subcommand (docs/tool.md).
#ifndef TOOLS_KXRTC_EXIT_STATUS_H_
#define TOOLS_KXRTC_EXIT_STATUS_H_

namespace kxrtc_tool {

enum ExitStatus : int {
  kExitOk = 0,
  kExitFailure = 1,            // Anything that has no number of its own.
  kExitUsage = 2,              // Unknown or contradicting options.
  kExitRecordUnreadable = 3,   // The input cannot be opened or is no record (transcode error 1).
  kExitOutputFailed = 4,       // Writing the output failed half-way (transcode error 2).
  kExitOutputRefused = 5,      // The output could not be begun, or exists (transcode error 3).
  kExitReplayFailed = 6,       // The record is damaged (transcode error 4).
  kExitRecordIncomplete = 7,   // Done, but the record ends early: the output holds all there is.
  kExitNothingToPlay = 8,      // The record holds no media; there is no output.
  kExitScenarioInvalid = 9,    // The scenario is not as docs/scenario.md describes it.
  kExitSourceUnreadable = 10,  // A participant's media cannot be opened.
  kExitSourceRefused = 11,     // A participant's video is not H.264.
  kExitWarningsFound = 12,     // kxrtc verify: warnings, no errors.
  kExitErrorsFound = 13,       // kxrtc verify: errors.
  kExitInterrupted = 130,      // Ctrl-C; there is no output.
  kExitTerminated = 143,       // SIGTERM; there is no output.
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_EXIT_STATUS_H_
