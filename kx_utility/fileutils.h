// Paths, directories and sizes. All paths use "/"; nothing is logged here.
// Threads: any, except SetExecutablePath.
#ifndef KX_UTILITY_FILEUTILS_H_
#define KX_UTILITY_FILEUTILS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/export.h"

namespace kx_utility {

// Stands in place of a path when the project root cannot be found.
inline constexpr char kCannotFindProjectRootDir[] = "ERROR_CANNOT_FIND_PROJECT_ROOT_DIR";

// The current directory, without a trailing "/"; "./" when it cannot be read.
[[nodiscard]] KX_EXPORT std::string WorkingDir();

// Makes the directory of the program at `path`, taken relative to the working directory, the
// project root. The first 1024 bytes of it count. Call it once at start-up, before any thread asks
// for the paths below.
KX_EXPORT void SetExecutablePath(const std::string& path);

// The project root, absolute, links resolved, with a trailing "/": the working directory or what
// SetExecutablePath made of it. kCannotFindProjectRootDir when it does not resolve to fewer than
// 1024 bytes, with a message on standard error unless the working directory itself is unreadable.
[[nodiscard]] KX_EXPORT std::string ProjectRootPath();

// The directory "out/" in the project root, made if needed; "./" on any failure.
[[nodiscard]] KX_EXPORT std::string OutputPath();

// The file of the project root's "resources/" that fits this platform best: the first that exists
// of name_mac_64, name_mac and name_64, each with ".extension"; else name.extension, which need not
// exist.
[[nodiscard]] KX_EXPORT std::string ResourcePath(const std::string& name,
                                                 const std::string& extension);

// Links are followed. A directory is an existing file too.
[[nodiscard]] KX_EXPORT bool FileExists(const std::string& path);
[[nodiscard]] KX_EXPORT bool DirExists(const std::string& path);

// True when the directory exists or was made (its parent must exist). A file in its place is
// reported on standard error.
KX_EXPORT bool CreateDir(const std::string& path);

// Removes an empty directory.
KX_EXPORT bool RemoveDir(const std::string& path);
KX_EXPORT bool RemoveFileA(const std::string& path);

// Makes an empty file in `dir` with a unique name that starts with `prefix`. Returns its path.
// Stops the process when that is impossible.
[[nodiscard]] KX_EXPORT std::string TempFilename(const std::string& dir, const std::string& prefix);

// The entries of a directory as paths, in the system's order, subdirectories included but not
// entered. Empty when the directory cannot be read.
[[nodiscard]] KX_EXPORT std::vector<std::string> ReadDirectory(std::string path);

// Bytes of a regular file; 0 for anything else.
[[nodiscard]] KX_EXPORT size_t GetFileSize(const std::string& path);

// Bytes of the file system that contains `path`: all, free, and free for ordinary users. On false
// the outputs are untouched.
[[nodiscard]] KX_EXPORT bool SpaceInfo(const std::string& path, uint64_t* capacity, uint64_t* free,
                                       uint64_t* available);

}  // namespace kx_utility

#endif  // KX_UTILITY_FILEUTILS_H_
