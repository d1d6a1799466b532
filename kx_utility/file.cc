#include "kx_utility/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace kx_utility {
namespace {

constexpr mode_t kOwnerReadWrite = 0600;
// The largest count for which the system calls define their result.
constexpr size_t kMaxTransfer = std::numeric_limits<ssize_t>::max();

// Repeats `transfer(done, remaining)` until `length` bytes are done, it has nothing more to give,
// or it fails other than by a signal. Returns the number of bytes done.
template <typename Transfer>
size_t TransferAll(size_t length, Transfer transfer) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = transfer(done, std::min(length - done, kMaxTransfer));
    if (count > 0) {
      done += static_cast<size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return done;
}

PlatformFile OpenRetrying(const std::string& path, int flags) {
  PlatformFile fd;
  do {
    fd = open(path.c_str(), flags | O_CLOEXEC, kOwnerReadWrite);
  } while (fd == kInvalidPlatformFileValue && errno == EINTR);
  return fd;
}

}  // namespace

PlatformFile OpenPlatformFile(const std::string& path) { return OpenRetrying(path, O_RDWR); }

PlatformFile CreatePlatformFile(const std::string& path) {
  return OpenRetrying(path, O_RDWR | O_CREAT | O_TRUNC);
}

bool RemoveFile(const std::string& path) { return unlink(path.c_str()) == 0; }

bool ClosePlatformFile(PlatformFile fd) { return close(fd) != 0; }

FILE* FdopenPlatformFileForWriting(PlatformFile fd) { return fdopen(fd, "w"); }

File::File(File&& other) noexcept : fd_(std::exchange(other.fd_, kInvalidPlatformFileValue)) {}

File::~File() { Close(); }

File& File::operator=(File&& other) noexcept {
  if (this == &other) return *this;
  Close();
  fd_ = std::exchange(other.fd_, kInvalidPlatformFileValue);
  return *this;
}

File File::Open(const std::string& path) { return File(OpenPlatformFile(path)); }

File File::Create(const std::string& path) { return File(CreatePlatformFile(path)); }

bool File::Remove(const std::string& path) { return RemoveFile(path); }

bool File::Close() {
  if (!IsOpen()) return false;
  return !ClosePlatformFile(std::exchange(fd_, kInvalidPlatformFileValue));
}

size_t File::Write(const uint8_t* data, size_t length) {
  return TransferAll(
      length, [&](size_t done, size_t remaining) { return write(fd_, data + done, remaining); });
}

size_t File::Read(uint8_t* data, size_t length) {
  return TransferAll(
      length, [&](size_t done, size_t remaining) { return read(fd_, data + done, remaining); });
}

size_t File::WriteAt(const uint8_t* data, size_t length, size_t offset) {
  return TransferAll(length, [&](size_t done, size_t remaining) {
    return pwrite(fd_, data + done, remaining, static_cast<off_t>(offset + done));
  });
}

size_t File::ReadAt(uint8_t* data, size_t length, size_t offset) {
  return TransferAll(length, [&](size_t done, size_t remaining) {
    return pread(fd_, data + done, remaining, static_cast<off_t>(offset + done));
  });
}

bool File::Seek(size_t offset) {
  const auto position = static_cast<int64_t>(offset);
  return position >= 0 && lseek(fd_, position, SEEK_SET) != -1;
}

bool File::CurrentPosition(size_t* position) {
  const off_t current = lseek(fd_, 0, SEEK_CUR);
  if (current == -1 || position == nullptr) return false;
  *position = static_cast<size_t>(current);
  return true;
}

bool File::GetSize(size_t* size) const {
  struct stat status;
  if (size == nullptr || fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  *size = static_cast<size_t>(status.st_size);
  return true;
}

}  // namespace kx_utility
