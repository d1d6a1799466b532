#include "tools/kxrtc/line_output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>

namespace kxrtc_tool {

void LineOutput::Print(const std::string& lines) {
  if (waiting_.size() + lines.size() <= kMaxWaiting) waiting_ += lines;
  while (!waiting_.empty() && WriteSome(0)) {
  }
}

void LineOutput::Drain(std::chrono::milliseconds at_most) {
  const auto deadline = std::chrono::steady_clock::now() + at_most;
  while (!waiting_.empty()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || !WriteSome(static_cast<int>(left.count()))) return;
  }
}

// A pipe that is ready has room for PIPE_BUF bytes.
bool LineOutput::WriteSome(int wait_ms) {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  if (poll(&output, 1, wait_ms) <= 0) return false;
  const size_t size = std::min<size_t>(waiting_.size(), PIPE_BUF);
  (void)std::fwrite(waiting_.data(), 1, size, stdout);  // The stream keeps its failure.
  (void)std::fflush(stdout);
  waiting_.erase(0, size);
  return true;
}

}  // namespace kxrtc_tool
