#include "files/sequential_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kxrtc_host {
namespace {

constexpr int kWaitMs = 100;

}  // namespace

SequentialFile::~SequentialFile() {
  if (descriptor_ >= 0) (void)close(descriptor_);
}

bool SequentialFile::Open(const std::string& path) {
  // Without the flag, opening a FIFO waits for its writer. poll() does so too, but for a while
  // only.
  descriptor_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor_ >= 0) return true;
  error_ = std::strerror(errno);
  return false;
}

SequentialFile::Result SequentialFile::Read(void* data, size_t size, size_t* count) {
  for (;;) {
    if (is_wanted_ && !is_wanted_()) return Result::kStopped;
    pollfd file = {descriptor_, POLLIN, 0};
    if (poll(&file, 1, kWaitMs) == 0) continue;
    const ssize_t got = read(descriptor_, data, size);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got < 0) {
      error_ = std::strerror(errno);
      return Result::kFailed;
    }
    *count = static_cast<size_t>(got);
    return got == 0 ? Result::kEnd : Result::kData;
  }
}

}  // namespace kxrtc_host
