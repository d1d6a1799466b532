#include "host/conference/local_input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kxrtc_host {
namespace {

constexpr int kBufferSize = 64 * 1024;
constexpr int kPollMs = 100;

}  // namespace

void LocalInput::Close() {
  io_.reset();
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

bool LocalInput::Open(const std::string& path, bool live, const AVIOInterruptCB& interrupt,
                      std::string* error) {
  Close();
  const auto failed = [&](const std::string& why) {
    *error = why;
    Close();
    return false;
  };
  interrupt_ = interrupt;
  // Without O_NONBLOCK, open() would wait for the writer of a pipe.
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  struct stat status {};
  if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
    return failed(std::string("cannot be opened: ") + std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) return failed("cannot be opened: Is a directory");
  regular_ = S_ISREG(status.st_mode);
  if (!regular_ && !live) {
    return failed("is a pipe or a device; with \"live\": true it is recorded as it arrives");
  }
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  if (buffer == nullptr) return failed("out of memory");
  io_.reset(
      avio_alloc_context(buffer, kBufferSize, 0, this, Read, nullptr, regular_ ? Seek : nullptr));
  if (io_ == nullptr) {
    av_free(buffer);
    return failed("out of memory");
  }
  return true;
}

bool LocalInput::IsInterrupted() const { return interrupt_.callback(interrupt_.opaque) != 0; }

bool LocalInput::WaitForBytes() const {
  pollfd wanted = {descriptor_, POLLIN, 0};
  do {
    if (IsInterrupted()) return false;
  } while (poll(&wanted, 1, kPollMs) <= 0);
  return true;
}

int LocalInput::Read(void* self, uint8_t* buffer, int size) {
  const auto* const input = static_cast<const LocalInput*>(self);
  for (;;) {
    if (input->regular_ ? input->IsInterrupted() : !input->WaitForBytes()) return AVERROR_EXIT;
    const ssize_t got = ::read(input->descriptor_, buffer, static_cast<size_t>(size));
    if (got > 0) return static_cast<int>(got);
    if (got == 0) return AVERROR_EOF;
    if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
  }
}

int64_t LocalInput::Seek(void* self, int64_t offset, int whence) {
  const int descriptor = static_cast<const LocalInput*>(self)->descriptor_;
  struct stat status {};
  if (whence == AVSEEK_SIZE) {
    return ::fstat(descriptor, &status) == 0 ? status.st_size : AVERROR(errno);
  }
  const off_t position = ::lseek(descriptor, offset, whence & ~AVSEEK_FORCE);
  return position < 0 ? AVERROR(errno) : position;
}

}  // namespace kxrtc_host
