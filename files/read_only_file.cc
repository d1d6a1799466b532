#include "files/read_only_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kxrtc_host {
namespace {

constexpr size_t kFirstWindowSize = 4096;

}  // namespace

ReadOnlyFile::~ReadOnlyFile() { Close(); }

void ReadOnlyFile::Close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
  state_ = State::kClosed;
  size_ = 0;
  window_.clear();
  window_start_ = 0;
  error_.clear();
  read_errno_ = 0;
}

ReadOnlyFile::State ReadOnlyFile::Open(const std::string& path) {
  Close();
  path_ = path;
  // Without O_NONBLOCK, open() would wait for the writer of a FIFO.
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor_ < 0) {
    const int reason = errno;
    error_ = std::strerror(reason);
    return state_ = reason == ENOENT ? State::kMissing : State::kUnreadable;
  }
  struct stat status {};
  if (::fstat(descriptor_, &status) != 0) {
    error_ = std::strerror(errno);
  } else if (!S_ISREG(status.st_mode)) {
    error_ = "not a regular file";
  } else {
    size_ = static_cast<uint64_t>(status.st_size);
    return state_ = State::kOpen;
  }
  ::close(descriptor_);
  descriptor_ = -1;
  return state_ = State::kUnreadable;
}

size_t ReadOnlyFile::Read(uint64_t position, void* buffer, size_t size) const {
  if (!is_open() || position >= size_) return 0;
  const size_t wanted = static_cast<size_t>(std::min<uint64_t>(size, size_ - position));
  size_t done = 0;
  while (done < wanted) {
    const ssize_t got = ::pread(descriptor_, static_cast<char*>(buffer) + done, wanted - done,
                                static_cast<off_t>(position + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && read_errno_ == 0) read_errno_ = errno;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  return done;
}

std::string ReadOnlyFile::ReadFailureText() const {
  if (!has_read_error()) return "became shorter while it was read";
  return std::string("cannot be read: ") + std::strerror(read_errno_);
}

bool ReadOnlyFile::CanSeekTo(uint64_t position) const {
  const auto offset = static_cast<off_t>(position);
  return offset >= 0 && ::lseek(descriptor_, offset, SEEK_SET) >= 0;
}

uint64_t ReadOnlyFile::NextData(uint64_t position) const {
  if (position >= size_) return size_;
  const off_t data = ::lseek(descriptor_, static_cast<off_t>(position), SEEK_DATA);
  if (data >= 0) return std::min<uint64_t>(size_, static_cast<uint64_t>(data));
  // Where the file system does not report holes, all of it is data.
  return errno == ENXIO ? size_ : position;
}

uint64_t ReadOnlyFile::NextHole(uint64_t position) const {
  if (position >= size_) return size_;
  const off_t hole = ::lseek(descriptor_, static_cast<off_t>(position), SEEK_HOLE);
  return hole >= 0 ? std::min<uint64_t>(size_, static_cast<uint64_t>(hole)) : size_;
}

// False when there are fewer than `size` bytes.
bool ReadOnlyFile::MoveWindow(uint64_t position, size_t size) {
  if (size > kWindowSize || position > size_ || size > size_ - position) return false;
  // Only a reader that goes on where the window ends gets a whole one.
  const bool goes_on = position >= window_start_ && position - window_start_ <= window_.size();
  const size_t wanted = goes_on ? kWindowSize : std::max(size, kFirstWindowSize);
  window_.resize(wanted);
  window_.resize(Read(position, window_.data(), wanted));
  window_start_ = position;
  return window_.size() >= size;
}

}  // namespace kxrtc_host
