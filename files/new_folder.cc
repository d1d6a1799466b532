#include "files/new_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "files/file_sync.h"
#include "files/temporary_entry.h"

namespace kxrtc_host {
namespace {

constexpr size_t kBufferSize = 256 * 1024;
constexpr mode_t kFileMode = 0666;
constexpr mode_t kFolderMode = 0777;
constexpr int kNameAttempts = 100;

std::string ParentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool Exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

void RemoveFolder(const std::string& path, const std::vector<std::string>& names) {
  for (const std::string& name : names) (void)::unlink((path + "/" + name).c_str());
  (void)::rmdir(path.c_str());
}

}  // namespace

NewFolder::~NewFolder() { Discard(); }

bool NewFolder::Fail(const std::string& what) {
  error_ = what + ": " + std::strerror(errno);
  return false;
}

bool NewFolder::FailSource(const ReadOnlyFile& source) {
  error_ = source.path() + ": " + source.ReadFailureText();
  is_source_error_ = true;
  return false;
}

bool NewFolder::CheckWanted() {
  if (!is_wanted_ || is_wanted_()) return true;
  error_ = kStoppedText;
  return false;
}

bool NewFolder::Create(const std::string& path, const std::vector<std::string>& names) {
  Discard();
  is_source_error_ = false;
  path_ = path;
  while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
  if (path_.empty()) {
    error_ = "\"\" is not a folder name";
    return false;
  }
  if (Exists(path_)) {
    error_ = path + ": already exists";
    return false;
  }
  if (errno != ENOENT) return Fail(path);
  return CreateTemporary(names);
}

bool NewFolder::IsTemporaryName(const std::string& name) {
  return TemporaryEntry::IsNameOf(name, kTemporaryMark);
}

bool NewFolder::CreateTemporary(const std::vector<std::string>& names) {
  const size_t name_begin = path_.rfind('/') + 1;  // 0 without a slash.
  const TemporaryEntry entry = {
      path_.substr(0, name_begin),
      path_.substr(name_begin, TemporaryEntry::kMaxNamePart) + kTemporaryMark, ""};
  entry.RemoveAbandoned([&names](const std::string& left) { RemoveFolder(left, names); });
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const std::string name = entry.NewPath();
    if (::mkdir(name.c_str(), kFolderMode) != 0) {
      if (errno == EEXIST) continue;
      return Fail(ParentOf(path_));
    }
    folder_descriptor_ = ::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Without a lock nothing will be taken for abandoned.
    if (folder_descriptor_ < 0 || LockTemporaryEntry(folder_descriptor_)) {
      temporary_ = name;
      return true;
    }
    ::close(folder_descriptor_);
    folder_descriptor_ = -1;
  }
  return Fail(ParentOf(path_));
}

bool NewFolder::BeginFile(const std::string& name) {
  if (!EndFile() || !CheckWanted()) return false;
  const std::string path = temporary_ + "/" + name;
  descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
  if (descriptor_ < 0) return Fail(path);
  files_.push_back(path);
  return true;
}

bool NewFolder::WriteAll(const char* data, size_t size) {
  while (size > 0) {
    const ssize_t wrote = ::write(descriptor_, data, size);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) return Fail(files_.back());
    data += wrote;
    size -= static_cast<size_t>(wrote);
  }
  return true;
}

bool NewFolder::Flush() {
  const bool written = WriteAll(buffer_.data(), buffer_.size());
  buffer_.clear();
  return written;
}

bool NewFolder::Append(const char* data, size_t size) {
  buffer_.append(data, size);
  return buffer_.size() < kBufferSize || (CheckWanted() && Flush());
}

bool NewFolder::CopyRange(const ReadOnlyFile& source, uint64_t begin, uint64_t end,
                          uint64_t target) {
  buffer_.resize(kBufferSize);
  if (::lseek(descriptor_, static_cast<off_t>(target), SEEK_SET) < 0) return Fail(files_.back());
  while (begin < end) {
    if (!CheckWanted()) return false;
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(kBufferSize, end - begin));
    if (source.Read(begin, &buffer_[0], wanted) != wanted) {
      return FailSource(source);
    }
    if (!WriteAll(buffer_.data(), wanted)) return false;
    begin += wanted;
  }
  buffer_.clear();
  return true;
}

bool NewFolder::Copy(const ReadOnlyFile& source, uint64_t begin, uint64_t size) {
  if (!Flush()) return false;
  const off_t target = ::lseek(descriptor_, 0, SEEK_END);
  if (target < 0) return Fail(files_.back());
  const uint64_t end = begin + size;
  const uint64_t offset = static_cast<uint64_t>(target) - begin;  // Modulo 2^64.
  for (uint64_t position = begin; position < end;) {
    const uint64_t data = source.NextData(position);
    if (data >= end) break;
    const off_t hole = ::lseek(source.descriptor(), static_cast<off_t>(data), SEEK_HOLE);
    position = hole < 0 ? end : std::min<uint64_t>(end, static_cast<uint64_t>(hole));
    if (position > data && !CopyRange(source, data, position, data + offset)) return false;
    if (position == data) break;
  }
  // The loop also ends early when the file became shorter in the meantime.
  const off_t source_size = ::lseek(source.descriptor(), 0, SEEK_END);
  if (source_size < 0 || static_cast<uint64_t>(source_size) < end) return FailSource(source);
  return (::ftruncate(descriptor_, static_cast<off_t>(end + offset)) == 0 &&
          ::lseek(descriptor_, 0, SEEK_END) >= 0) ||
         Fail(files_.back());
}

bool NewFolder::SyncCurrent() {
  const off_t size = ::lseek(descriptor_, 0, SEEK_END);
  errno = size < 0 ? errno : SyncFile(descriptor_, static_cast<uint64_t>(size), is_wanted_);
  if (errno == ECANCELED) return CheckWanted();
  return errno == 0 || Fail(files_.back());
}

bool NewFolder::EndFile() {
  if (descriptor_ < 0) return true;
  const bool synced = Flush() && (!sync_ || SyncCurrent());
  const bool closed = ::close(descriptor_) == 0;
  descriptor_ = -1;
  return synced && (closed || Fail(files_.back()));
}

bool NewFolder::Rename() {
  if (::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  // The file system does not know the flag. rename() replaces at most an empty folder.
  const bool unsupported = errno == EINVAL || errno == ENOSYS;
  if (!unsupported) return Fail(path_);
  if (Exists(path_)) {
    error_ = path_ + ": already exists";
    return false;
  }
  return ::rename(temporary_.c_str(), path_.c_str()) == 0 || Fail(path_);
}

bool NewFolder::Commit() {
  if (!EndFile()) return false;
  errno = sync_ ? SyncFolder(temporary_) : 0;
  if (errno != 0) return Fail(temporary_);
  if (!CheckWanted() || !Rename()) return false;
  temporary_.clear();
  files_.clear();
  Discard();
  const std::string parent = ParentOf(path_);
  errno = sync_ ? SyncFolder(parent) : 0;
  if (errno != 0) {
    warning_ = path_ + " is complete, but a power failure may still remove it: cannot sync " +
               parent + ": " + std::strerror(errno);
  }
  return true;
}

void NewFolder::Discard() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
  buffer_.clear();
  for (const std::string& file : files_) ::unlink(file.c_str());
  files_.clear();
  if (!temporary_.empty()) ::rmdir(temporary_.c_str());
  temporary_.clear();
  if (folder_descriptor_ >= 0) ::close(folder_descriptor_);
  folder_descriptor_ = -1;
}

}  // namespace kxrtc_host
