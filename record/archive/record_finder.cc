#include "record/archive/record_finder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "files/new_folder.h"
#include "record/index/record_files.h"

namespace kxrtc_host {
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr size_t kLongestPath = PATH_MAX - 64;  // The rest is for the names of files.

// An open folder.
class Folder {
 public:
  explicit Folder(int descriptor = -1) : descriptor_(descriptor) {}
  ~Folder() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Folder(Folder&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Folder& operator=(Folder&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }

  bool is_open() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }

  Folder Below(const std::string& name) const {
    return Folder(::openat(descriptor_, name.c_str(), kFolderFlags | O_NOFOLLOW));
  }
  bool Identify(struct stat* status) const { return ::fstat(descriptor_, status) == 0; }

 private:
  int descriptor_;
};

struct Listing {
  bool is_record = false;
  std::vector<std::string> folders;
  std::string error;  // Empty: everything was read.
};

unsigned char TypeOf(int folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type;
  struct stat status {};
  if (::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  return IFTODT(status.st_mode);
}

Listing List(const Folder& folder) {
  Listing listing;
  const int copy = ::fcntl(folder.descriptor(), F_DUPFD_CLOEXEC, 0);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(copy < 0 ? nullptr : ::fdopendir(copy),
                                                   ::closedir);
  if (stream == nullptr) {
    listing.error = std::strerror(errno);
    if (copy >= 0) ::close(copy);
    return listing;
  }
  errno = 0;
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string name = entry->d_name;
    const unsigned char type = TypeOf(folder.descriptor(), *entry);
    if (type == DT_REG) listing.is_record |= IsRecordFileName(name);
    const bool is_inner = name != "." && name != ".." && !NewFolder::IsTemporaryName(name);
    if (type == DT_DIR && is_inner) listing.folders.push_back(name);
    errno = 0;
  }
  if (errno != 0 && errno != ENOENT) listing.error = std::strerror(errno);
  std::sort(listing.folders.begin(), listing.folders.end());
  return listing;
}

class Walk {
 public:
  Walk(const std::string& root, const RecordSearch& search)
      : root_length_(root.size()), search_(search), root_(::open(root.c_str(), kFolderFlags)) {}

  void Run() {
    if (!root_.is_open()) return search_.on_unreadable("", std::strerror(errno));
    Visit(Folder(::fcntl(root_.descriptor(), F_DUPFD_CLOEXEC, 0)), "");
    while (!is_over_ && !levels_.empty()) {
      Level& level = levels_.back();
      if (level.next == level.folders.size()) {
        Leave();
      } else if (current_.is_open() || ComeBack()) {
        Enter(level.folders[level.next++]);
      } else {
        search_.on_unreadable(path_, "was moved or removed while it was read");
        level.next = level.folders.size();
      }
    }
  }

 private:
  // A folder with others in it.
  struct Level {
    std::string name;
    std::vector<std::string> folders;
    size_t next = 0;
    size_t outer_path_length = 0;
    struct stat identity {};
  };

  void Enter(const std::string& name) {
    const std::string path = path_.empty() ? name : path_ + "/" + name;
    if (root_length_ + 1 + path.size() > kLongestPath) {
      return search_.on_unreadable(path, std::strerror(ENAMETOOLONG));
    }
    Folder folder = current_.Below(name);
    if (folder.is_open()) return Visit(std::move(folder), name);
    const bool is_gone = errno == ENOENT || errno == ENOTDIR || errno == ELOOP;
    if (!is_gone) search_.on_unreadable(path, std::strerror(errno));
  }

  void Visit(Folder folder, const std::string& name) {
    Listing listing = List(folder);
    const size_t outer_path_length = path_.size();
    if (!path_.empty()) path_ += '/';
    path_ += name;
    if (!listing.error.empty()) search_.on_unreadable(path_, listing.error);
    is_over_ = listing.is_record && !search_.on_record(path_, folder.descriptor());
    if (listing.folders.empty()) return path_.resize(outer_path_length);
    levels_.push_back({name, std::move(listing.folders), 0, outer_path_length, {}});
    (void)folder.Identify(&levels_.back().identity);  // Else the way back is the longer one.
    current_ = std::move(folder);
  }

  // Goes up, unless the folder was moved meanwhile.
  void Leave() {
    path_.resize(levels_.back().outer_path_length);
    levels_.pop_back();
    if (levels_.empty() || !current_.is_open()) return;
    Folder outer = current_.Below("..");
    const struct stat& expected = levels_.back().identity;
    struct stat status {};
    const bool is_outer = outer.is_open() && outer.Identify(&status) &&
                          status.st_ino == expected.st_ino && status.st_dev == expected.st_dev;
    current_ = is_outer ? std::move(outer) : Folder();
  }

  // Opens the current folder from the root on.
  bool ComeBack() {
    Folder folder(::fcntl(root_.descriptor(), F_DUPFD_CLOEXEC, 0));
    for (size_t i = 1; i < levels_.size() && folder.is_open(); ++i) {
      folder = Folder(folder.Below(levels_[i].name));
    }
    current_ = std::move(folder);
    return current_.is_open();
  }

  size_t root_length_;
  const RecordSearch& search_;
  Folder root_;
  Folder current_;  // Of the last level; closed when it could not be reached again.
  std::vector<Level> levels_;
  std::string path_;  // Of the last level.
  bool is_over_ = false;
};

}  // namespace

void FindRecords(const std::string& root, const RecordSearch& search) { Walk(root, search).Run(); }

}  // namespace kxrtc_host
