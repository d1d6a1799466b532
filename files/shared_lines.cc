#include "files/shared_lines.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace kxrtc_host {
namespace {

constexpr mode_t kFileMode = 0666;  // The umask of the user applies.
constexpr size_t kPiece = 256 * 1024;
constexpr std::chrono::milliseconds kRetryLock(5);

bool IsSameFile(int descriptor, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

ssize_t ReadAt(int descriptor, char* data, size_t size, off_t position) {
  ssize_t bytes = 0;
  do {
    bytes = ::pread(descriptor, data, size, position);
  } while (bytes < 0 && errno == EINTR);
  return bytes;
}

}  // namespace

bool SharedLines::Fail(int error_number) {
  error_text_ = path_ + ": " + std::strerror(error_number);
  return false;
}

bool SharedLines::Open(const std::string& path, Access access) {
  path_ = path;
  access_ = access;
  return Reopen();
}

bool SharedLines::Reopen() {
  Close();
  const int flags = access_ == Access::kAppend ? O_RDWR | O_CREAT | O_APPEND : O_RDONLY;
  descriptor_ = ::open(path_.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, kFileMode);
  if (descriptor_ < 0) return (access_ == Access::kReadOnly && errno == ENOENT) || Fail(errno);
  struct stat status {};
  if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) return true;
  Close();
  error_text_ = path_ + ": is not a regular file";
  return false;
}

void SharedLines::Close() {
  Unlock();
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

bool SharedLines::Lock(const IsWanted& is_wanted) {
  while (true) {
    is_locked_ = ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
    if (!is_locked_ && errno == EWOULDBLOCK) {
      if (is_wanted && !is_wanted()) {
        error_text_ = kStoppedText;
        return false;
      }
      std::this_thread::sleep_for(kRetryLock);
    } else if (IsSameFile(descriptor_, path_)) {
      return true;
    } else if (!Reopen()) {
      return false;
    }
  }
}

void SharedLines::Unlock() {
  if (is_locked_) (void)::flock(descriptor_, LOCK_UN);
  is_locked_ = false;
}

bool SharedLines::Read(const std::function<void(const std::string& line)>& on_line) {
  if (descriptor_ < 0) return true;
  std::string line;
  bool is_too_long = false;
  std::vector<char> piece(kPiece);
  for (off_t position = 0;;) {
    const ssize_t bytes = ReadAt(descriptor_, piece.data(), piece.size(), position);
    if (bytes < 0) return Fail(errno);
    if (bytes == 0) return true;
    position += bytes;
    const char* const end = piece.data() + bytes;
    for (const char* begin = piece.data(); begin < end;) {
      const char* const stop = std::find(begin, end, '\n');
      is_too_long = is_too_long || line.size() + static_cast<size_t>(stop - begin) > kMaxLineBytes;
      if (is_too_long) {
        line.clear();
      } else {
        line.append(begin, stop);
      }
      if (stop == end) break;
      if (!is_too_long) on_line(line);
      line.clear();
      is_too_long = false;
      begin = stop + 1;
    }
  }
}

// Removes what is behind the last end of a line.
bool SharedLines::EndAtALine() {
  const off_t size = ::lseek(descriptor_, 0, SEEK_END);
  if (size < 0) return Fail(errno);
  std::vector<char> piece;
  for (off_t end = size; end > 0;) {
    const off_t begin = std::max<off_t>(0, end - static_cast<off_t>(piece.empty() ? 1 : kPiece));
    piece.resize(static_cast<size_t>(end - begin));
    if (ReadAt(descriptor_, piece.data(), piece.size(), begin) !=
        static_cast<ssize_t>(piece.size())) {
      return Fail(EIO);
    }
    const auto newline = std::find(piece.rbegin(), piece.rend(), '\n');
    end = begin + (piece.rend() - newline);
    if (newline != piece.rend())
      return end == size || ::ftruncate(descriptor_, end) == 0 || Fail(errno);
  }
  return size == 0 || ::ftruncate(descriptor_, 0) == 0 || Fail(errno);
}

bool SharedLines::Append(const std::string& line) {
  if (!EndAtALine()) return false;
  const off_t size = ::lseek(descriptor_, 0, SEEK_END);
  const std::string text = line + "\n";
  ssize_t written = 0;
  do {
    written = ::write(descriptor_, text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(text.size())) return true;
  const int error_number = written < 0 ? errno : ENOSPC;
  (void)::ftruncate(descriptor_, size);
  return Fail(error_number);
}

}  // namespace kxrtc_host
