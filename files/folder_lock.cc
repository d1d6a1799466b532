#include "files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace kxrtc_host {
namespace {

constexpr int kAttempts = 100;

// The process that holds the lock of `folder`; 0 when the system does not tell it.
int HolderOf(const struct stat& folder) {
  std::ifstream locks("/proc/locks");
  std::string line;
  while (std::getline(locks, line)) {
    int process = 0;
    unsigned device_major = 0;
    unsigned device_minor = 0;
    unsigned long long inode = 0;
    const int found = std::sscanf(line.c_str(), "%*d: FLOCK %*s %*s %d %x:%x:%llu", &process,
                                  &device_major, &device_minor, &inode);
    if (found == 4 && process > 0 && inode == folder.st_ino &&
        makedev(device_major, device_minor) == folder.st_dev) {
      return process;
    }
  }
  return 0;
}

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
    const int process = HolderOf(opened);
    error_ = process > 0 ? "process " + std::to_string(process) : "another process";
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
