#include "files/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "files/file_sync.h"
#include "files/link_target.h"
#include "files/temporary_entry.h"

namespace kxrtc_host {
namespace {

constexpr mode_t kFileMode = 0666;  // The umask of the user applies.
constexpr int kNameAttempts = 100;
constexpr uint64_t kPiece = 1 << 20;

// Where a file of this path really is.
struct Place {
  explicit Place(const std::string& path) : target(LinkTarget(path)) {
    const size_t slash = target.rfind('/');
    folder = slash == std::string::npos ? "./" : target.substr(0, slash + 1);
    name = slash == std::string::npos ? target : target.substr(slash + 1);
  }
  TemporaryEntry Hidden() const {
    return {folder, "." + name.substr(0, TemporaryEntry::kMaxNamePart) + ".", ".part"};
  }

  std::string target;
  std::string folder;
  std::string name;
};

void RemoveFile(const std::string& path) { (void)unlink(path.c_str()); }

std::string SystemText(int error_number) { return std::generic_category().message(error_number); }

}  // namespace

OutputFile::~OutputFile() { Discard(); }

bool OutputFile::FailWith(const std::string& what, int error_number) {
  if (error_text_.empty()) {
    error_number_ = error_number;
    error_text_ = what + (error_number != 0 ? ": " + SystemText(error_number) : "");
  }
  return false;
}

bool OutputFile::CheckWanted() {
  if (!is_wanted_ || is_wanted_()) return true;
  if (error_text_.empty()) {
    error_number_ = ECANCELED;
    error_text_ = kStoppedText;
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
  warning_text_.clear();
  size_ = 0;
  reserved_ = false;
  path_ = path;
  replace_existing_ = replace_existing;
  const Place place(path);
  target_ = place.target;
  folder_ = place.folder;
  if (place.name.empty()) return FailWith("\"" + path + "\" is not a file name", 0);
  return CheckTarget() && CreateHidden(place.Hidden());
}

void OutputFile::RemoveAbandoned(const std::string& path) {
  Place(path).Hidden().RemoveAbandoned(RemoveFile);
}

bool OutputFile::CreateHidden(const TemporaryEntry& hidden) {
  hidden.RemoveAbandoned(RemoveFile);
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    temporary_path_ = hidden.NewPath();
    fd_ = open(temporary_path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    if (fd_ >= 0 && LockTemporaryEntry(fd_)) return true;
    if (fd_ < 0 && errno != EEXIST) break;
    if (fd_ >= 0) (void)close(fd_);
    fd_ = -1;
  }
  temporary_path_.clear();
  return FailWith("cannot create a file in " + folder_, errno);
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
    if (!CheckWanted()) return false;
    const size_t piece = std::min(size, kPiece);
    const ssize_t written = pwrite(fd_, bytes, piece, static_cast<off_t>(position));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return FailWith("cannot write " + path_, written < 0 ? errno : ENOSPC);
    bytes += written;
    position += static_cast<uint64_t>(written);
    size -= static_cast<uint64_t>(written);
    if (position > size_) size_ = position;
  }
  return true;
}

bool OutputFile::WriteGathered(uint64_t position, iovec* pieces, size_t count) {
  while (count > 0) {
    if (!CheckWanted()) return false;
    const ssize_t written =
        pwritev(fd_, pieces, static_cast<int>(count), static_cast<off_t>(position));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return FailWith("cannot write " + path_, written < 0 ? errno : ENOSPC);
    position += static_cast<uint64_t>(written);
    if (position > size_) size_ = position;
    auto left = static_cast<size_t>(written);
    for (; count > 0 && left >= pieces->iov_len; ++pieces, --count) left -= pieces->iov_len;
    if (count == 0) break;
    pieces->iov_base = static_cast<uint8_t*>(pieces->iov_base) + left;
    pieces->iov_len -= left;
  }
  return true;
}

bool OutputFile::ReadAt(uint64_t position, void* data, uint64_t size) {
  auto* bytes = static_cast<uint8_t*>(data);
  while (size > 0) {
    if (!CheckWanted()) return false;
    const size_t piece = std::min(size, kPiece);
    const ssize_t got = pread(fd_, bytes, piece, static_cast<off_t>(position));
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

bool OutputFile::Sync() {
  const int error = SyncFile(fd_, size_, is_wanted_);
  if (error == ECANCELED) return CheckWanted();
  return error == 0 || FailWith("cannot sync " + path_, error);
}

// A network file system may tell only at the close that it could not write. The copy of the
// descriptor holds the lock until the file has its name.
bool OutputFile::CloseAndRename() {
  const int copy = fcntl(fd_, F_DUPFD_CLOEXEC, 0);
  const int closed = close(fd_);
  fd_ = copy;
  if (closed != 0) return FailWith("cannot close " + path_, errno);
  if (!Rename()) {
    return FailWith(errno == EEXIST ? path_ + " was created in the meantime and is kept"
                                    : "cannot rename the finished file to " + path_,
                    errno == EEXIST ? 0 : errno);
  }
  temporary_path_.clear();
  return true;
}

bool OutputFile::Commit(bool sync) {
  if (fd_ < 0) return FailWith("no file is open", 0);
  // Releases the unused reservation. A failure does not affect the content.
  if (reserved_) (void)!ftruncate(fd_, static_cast<off_t>(size_));
  const bool committed = (!sync || Sync()) && CheckWanted() && CloseAndRename();
  Discard();
  if (!committed) return false;
  const int error = sync ? SyncFolder(folder_) : 0;
  if (error != 0) {
    warning_text_ = path_ + " is complete, but a power failure may still remove it: cannot sync " +
                    folder_ + ": " + SystemText(error);
  }
  return true;
}

void OutputFile::Discard() {
  if (!temporary_path_.empty()) (void)unlink(temporary_path_.c_str());
  if (fd_ >= 0) (void)close(fd_);  // An error does not matter: the bytes are discarded.
  fd_ = -1;
  temporary_path_.clear();
}

}  // namespace kxrtc_host
