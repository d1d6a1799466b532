// The one assertion of this file stops the process in every build.
#undef NDEBUG
#include "kx_utility/fileutils.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kx_utility/BaseUtility.h"

namespace kx_utility {
namespace {

constexpr size_t kMaxPathBytes = 1024;
constexpr char kUnreadableWorkingDir[] = "./";
constexpr char kPlatform[] = "mac";
constexpr char kArchitecture[] = "64";

// Not terminated when it is full.
char relative_dir_path[kMaxPathBytes] = {};
bool relative_dir_path_set = false;

struct FreeDeleter {
  void operator()(char* memory) const { std::free(memory); }
};
using CString = std::unique_ptr<char, FreeDeleter>;

struct DirCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

std::string WorkingDir() {
  const CString path(getcwd(nullptr, 0));
  return path ? std::string(path.get()) : kUnreadableWorkingDir;
}

void SetExecutablePath(const std::string& path) {
  const std::string working_dir = WorkingDir();
  std::string relative = path;
  // Intended: found anywhere, it is cut off the front by its length.
  if (relative.find(working_dir) != std::string::npos) relative.erase(0, working_dir.size() + 1);
  const size_t last_slash = relative.rfind('/');
  if (last_slash != std::string::npos) relative.erase(last_slash);
  relative.resize(kMaxPathBytes);  // Pads with zeros.
  std::memcpy(relative_dir_path, relative.data(), kMaxPathBytes);
  relative_dir_path_set = true;
}

std::string ProjectRootPath() {
  std::string path = WorkingDir();
  if (path == kUnreadableWorkingDir) return kCannotFindProjectRootDir;
  if (relative_dir_path_set) {
    path += '/';
    path.append(relative_dir_path, strnlen(relative_dir_path, kMaxPathBytes));
  }
  const CString resolved(realpath(path.c_str(), nullptr));
  if (resolved && std::strlen(resolved.get()) < kMaxPathBytes) {
    return std::string(resolved.get()) + "/";
  }
  std::fputs("Cannot find project root directory!\n", stderr);
  return kCannotFindProjectRootDir;
}

std::string OutputPath() {
  std::string path = ProjectRootPath();
  if (path == kCannotFindProjectRootDir) return "./";
  path += "out";
  return CreateDir(path) ? path + "/" : "./";
}

std::string ResourcePath(const std::string& name, const std::string& extension) {
  const std::string base = ProjectRootPath() + "resources/" + name;
  const std::string suffix = "." + extension;
  const std::string platform = std::string("_") + kPlatform;
  const std::string architecture = std::string("_") + kArchitecture;
  for (const std::string& variant : {platform + architecture, platform, architecture}) {
    std::string candidate = base + variant + suffix;
    if (FileExists(candidate)) return candidate;
  }
  return base + suffix;
}

bool FileExists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

bool DirExists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool CreateDir(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return mkdir(path.c_str(), 0777) == 0;
  if (S_ISDIR(status.st_mode)) return true;
  std::fprintf(stderr,
               "Path %s exists but is not a directory! Remove this file and re-run to create the "
               "directory.\n",
               path.c_str());
  return false;
}

bool RemoveDir(const std::string& path) { return rmdir(path.c_str()) == 0; }

bool RemoveFileA(const std::string& path) { return unlink(path.c_str()) == 0; }

std::string TempFilename(const std::string& dir, const std::string& prefix) {
  std::string name = dir + "/" + prefix + "XXXXXX";
  const int fd = mkstemp(name.data());
  if (fd == -1) assert(false);
  close(fd);
  return name;
}

std::vector<std::string> ReadDirectory(std::string path) {
  std::vector<std::string> entries;
  if (path.empty()) return entries;
  if (path.back() != '/') path += '/';
  const std::unique_ptr<DIR, DirCloser> directory(opendir(path.c_str()));
  if (!directory) return entries;
  while (const dirent* entry = readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") entries.push_back(path + name);
  }
  return entries;
}

size_t GetFileSize(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<size_t>(status.st_size);
}

bool SpaceInfo(const std::string& path, uint64_t* capacity, uint64_t* free, uint64_t* available) {
  struct statfs status;
  if (!check_pointers(3, capacity, free, available)) return false;
  if (statfs(path.c_str(), &status) != 0) return false;
  const auto block_size = static_cast<uint64_t>(status.f_bsize);
  *capacity = block_size * status.f_blocks;
  *free = block_size * status.f_bfree;
  *available = block_size * status.f_bavail;
  return true;
}

}  // namespace kx_utility
