#include "tools/kxrtc/standard_output.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace kxrtc_tool {

void LetWritesWithoutReaderFail() { std::signal(SIGPIPE, SIG_IGN); }

bool IsReaderOfStandardOutputGone() {
  // Without the lock, which a thread holds while it waits for a slow reader.
  if (ferror_unlocked(stdout) == 0) return false;
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

ExitStatus EndStandardOutput(ExitStatus status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  if (IsReaderOfStandardOutputGone()) return StoppedBy(SIGPIPE);
  return Fail(kExitOutputFailed, "cannot write to standard output");
}

}  // namespace kxrtc_tool
