// What became of the lines that the program printed.
#ifndef TOOLS_KXRTC_STANDARD_OUTPUT_H_
#define TOOLS_KXRTC_STANDARD_OUTPUT_H_

#include "tools/kxrtc/exit_status.h"

namespace kxrtc_tool {

// From now on a write to a pipe without a reader fails instead of ending the program.
void LetWritesWithoutReaderFail();

// True when a line was lost because the reader of a pipe is gone, as with `| head`.
bool IsReaderOfStandardOutputGone();

// Writes what is buffered. The result is `status`, unless a line was lost: then standard error says
// so, but not to a user who closed the pipe.
ExitStatus EndStandardOutput(ExitStatus status);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_STANDARD_OUTPUT_H_
