#include "files/output_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "files/byte_digest.h"
#include "files/link_target.h"
#include "files/lock_holder.h"
#include "files/temporary_entry.h"

namespace kxrtc_host {
namespace {

constexpr mode_t kFileMode = 0666;  // The umask of the user applies.
constexpr int kAttempts = 100;

// A name that leaves no room is cut, and a digest tells it from others that begin like it.
std::string LockPath(const std::string& output) {
  const std::string target = LinkTarget(output);
  const size_t at = target.rfind('/') + 1;  // 0 without a folder.
  std::string name = target.substr(at);
  if (name.size() > TemporaryEntry::kMaxNamePart) {
    ByteDigest digest;
    digest.Add(reinterpret_cast<const uint8_t*>(name.data()), name.size());
    name.resize(TemporaryEntry::kMaxNamePart);
    name += "-" + std::to_string(digest.value());
  }
  return target.substr(0, at) + "." + name + ".lock";
}

// A lock of another user may be one that can only be read. That is enough to lock it, where the
// file system is not a network's.
int OpenLock(const std::string& path) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | kFlags, kFileMode);
  return file < 0 && errno == EACCES ? ::open(path.c_str(), O_RDONLY | kFlags) : file;
}

}  // namespace

OutputLock::Result OutputLock::Lock(const std::string& output) {
  Unlock();
  path_ = LockPath(output);
  Try result = Try::kMoved;
  for (int attempt = 0; attempt < kAttempts && result == Try::kMoved; ++attempt) {
    result = TryOnce();
  }
  if (result == Try::kLocked) return Result::kLocked;
  return result == Try::kTaken ? Result::kTaken : Result::kNone;
}

OutputLock::Result OutputLock::LockLeftOver(const std::string& output) {
  return IsThere(output) ? Lock(output) : Result::kNone;
}

bool OutputLock::IsThere(const std::string& output) {
  return ::access(LockPath(output).c_str(), F_OK) == 0;
}

void OutputLock::Unlock() {
  if (descriptor_ < 0) return;
  // Removed while it is locked, so that nobody can have locked it in between.
  (void)::unlink(path_.c_str());
  ::close(descriptor_);
  descriptor_ = -1;
}

OutputLock::Try OutputLock::TryOnce() {
  const int file = OpenLock(path_);
  if (file < 0) return Try::kNone;
  struct stat opened {};
  struct stat named {};
  if (::fstat(file, &opened) != 0 || !S_ISREG(opened.st_mode) ||
      ::flock(file, LOCK_EX | LOCK_NB) != 0) {
    const bool taken = errno == EWOULDBLOCK && S_ISREG(opened.st_mode);
    if (taken) holder_ = LockHolder(opened);
    ::close(file);
    return taken ? Try::kTaken : Try::kNone;
  }
  // Its former holder may have removed it before it was locked here.
  if (::stat(path_.c_str(), &named) != 0 || named.st_dev != opened.st_dev ||
      named.st_ino != opened.st_ino) {
    ::close(file);
    return Try::kMoved;
  }
  descriptor_ = file;
  return Try::kLocked;
}

}  // namespace kxrtc_host
