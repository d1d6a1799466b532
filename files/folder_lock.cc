#include "files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "files/lock_holder.h"

namespace kxrtc_host {
namespace {

constexpr int kAttempts = 100;

}  // namespace

FolderLock::Result FolderLock::Lock(const std::string& path) {
  Unlock();
  error_.clear();
  Result result = Result::kFailed;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    result = TryOnce(path);
    if (!moved_) break;
  }
  return result;
}

void FolderLock::Unlock() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

// Fails with `moved_` when `path` leads to another folder by the time this one is locked.
FolderLock::Result FolderLock::TryOnce(const std::string& path) {
  moved_ = false;
  const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  struct stat opened {};
  struct stat named {};
  const bool locked = folder >= 0 && ::fstat(folder, &opened) == 0 &&
                      ::flock(folder, LOCK_EX | LOCK_NB) == 0 && ::stat(path.c_str(), &named) == 0;
  if (!locked) {
    const bool taken = errno == EWOULDBLOCK;
    error_ = std::strerror(errno);
    if (folder >= 0) ::close(folder);
    if (!taken) return Result::kFailed;
    error_ = LockHolder(opened);
    return Result::kTaken;
  }
  if (named.st_dev != opened.st_dev || named.st_ino != opened.st_ino) {
    ::close(folder);
    moved_ = true;
    error_ = "another folder took its name";
    return Result::kFailed;
  }
  descriptor_ = folder;
  return Result::kLocked;
}

}  // namespace kxrtc_host
