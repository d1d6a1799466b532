#include "files/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>
#include <system_error>

#include "files/link_target.h"

namespace kxrtc_host {
namespace {

constexpr mode_t kFileMode = 0666;    // The umask of the user applies.
constexpr size_t kMaxNamePart = 200;  // Leaves room for the rest within NAME_MAX.
constexpr int kNameAttempts = 100;

std::string SystemText(int error_number) { return std::generic_category().message(error_number); }

std::string RandomSuffix() {
  std::random_device random;
  char text[9];
  std::snprintf(text, sizeof(text), "%08x", static_cast<unsigned>(random()));
  return text;
}

}  // namespace

OutputFile::~OutputFile() { Discard(); }

bool OutputFile::FailWith(const std::string& what, int error_number) {
  if (error_text_.empty()) {
    error_number_ = error_number;
    error_text_ = what + (error_number != 0 ? ": " + SystemText(error_number) : "");
  }
  return false;
}

bool OutputFile::CheckTarget() {
  struct stat target;
  if (stat(path_.c_str(), &target) != 0) {
    return errno == ENOENT || FailWith("cannot create " + path_, errno);
  }
  if (S_ISDIR(target.st_mode)) return FailWith(path_ + " is a folder", 0);
  if (!S_ISREG(target.st_mode)) return FailWith(path_ + " is not a regular file", 0);
  if (!replace_existing_) return FailWith(path_ + " already exists", 0);
  // The links of an open file (/dev/stdout) may carry the name that the file had once.
  struct stat named;
  if (lstat(target_.c_str(), &named) != 0 || named.st_dev != target.st_dev ||
      named.st_ino != target.st_ino) {
    return FailWith(path_ + " is not a usable file name", 0);
  }
  return true;
}

bool OutputFile::Open(const std::string& path, bool replace_existing) {
  Discard();
  error_text_.clear();
  error_number_ = 0;
  size_ = 0;
  reserved_ = false;
  path_ = path;
  replace_existing_ = replace_existing;
  target_ = LinkTarget(path);
  const size_t slash = target_.rfind('/');
  folder_ = slash == std::string::npos ? "./" : target_.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? target_ : target_.substr(slash + 1);
  if (name.empty()) return FailWith("\"" + path + "\" is not a file name", 0);
  if (!CheckTarget()) return false;
  for (int attempt = 0; attempt < kNameAttempts && fd_ < 0; ++attempt) {
    temporary_path_ = folder_ + "." + name.substr(0, kMaxNamePart) + "." + RandomSuffix() + ".part";
    fd_ = open(temporary_path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    if (fd_ < 0 && errno != EEXIST) break;
  }
  if (fd_ < 0) return FailWith("cannot create a file in " + folder_, errno);
  return true;
}

void OutputFile::Reserve(uint64_t bytes) {
  struct statvfs disk;
  if (fd_ < 0 || bytes == 0 || fstatvfs(fd_, &disk) != 0) return;
  if (uint64_t{disk.f_bavail} * disk.f_frsize / 2 < bytes) return;
  reserved_ = fallocate(fd_, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0;
}

bool OutputFile::WriteAt(uint64_t position, const void* data, uint64_t size) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  while (size > 0) {
    const ssize_t written = pwrite(fd_, bytes, size, static_cast<off_t>(position));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return FailWith("cannot write " + path_, written < 0 ? errno : ENOSPC);
    bytes += written;
    position += static_cast<uint64_t>(written);
    size -= static_cast<uint64_t>(written);
    if (position > size_) size_ = position;
  }
  return true;
}

bool OutputFile::ReadAt(uint64_t position, void* data, uint64_t size) {
  auto* bytes = static_cast<uint8_t*>(data);
  while (size > 0) {
    const ssize_t got = pread(fd_, bytes, size, static_cast<off_t>(position));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return FailWith("cannot read back " + path_, got < 0 ? errno : EIO);
    bytes += got;
    position += static_cast<uint64_t>(got);
    size -= static_cast<uint64_t>(got);
  }
  return true;
}

bool OutputFile::Rename() {
  const char* from = temporary_path_.c_str();
  const char* to = target_.c_str();
  if (replace_existing_) return rename(from, to) == 0;
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // The file system does not know the flag: link() never replaces a file either.
  return link(from, to) == 0 && unlink(from) == 0;
}

bool OutputFile::Commit(bool sync) {
  if (fd_ < 0) return FailWith("no file is open", 0);
  // Releases the unused reservation. A failure does not affect the content.
  if (reserved_) (void)!ftruncate(fd_, static_cast<off_t>(size_));
  if (sync && fsync(fd_) != 0) {
    (void)FailWith("cannot sync " + path_, errno);
    Discard();
    return false;
  }
  if (!Rename()) {
    (void)FailWith(errno == EEXIST ? path_ + " was created in the meantime and is kept"
                                   : "cannot rename the finished file to " + path_,
                   errno == EEXIST ? 0 : errno);
    Discard();
    return false;
  }
  temporary_path_.clear();
  const int closed = close(fd_);
  fd_ = -1;
  if (closed != 0) return FailWith("cannot close " + path_, errno);
  if (sync) {  // Syncs the name too. Some file systems cannot; the content is already safe.
    const int folder = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
      (void)fsync(folder);
      (void)close(folder);
    }
  }
  return true;
}

void OutputFile::Discard() {
  if (fd_ >= 0) (void)close(fd_);  // An error does not matter: the bytes are discarded.
  fd_ = -1;
  if (!temporary_path_.empty()) (void)unlink(temporary_path_.c_str());
  temporary_path_.clear();
}

}  // namespace kxrtc_host
