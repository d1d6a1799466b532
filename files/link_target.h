// Which file a path leads to, whether the file exists or not.
// Threads: any.
#ifndef FILES_LINK_TARGET_H_
#define FILES_LINK_TARGET_H_

#include <string>

namespace kxrtc_host {

// `path` itself, or the final target of the symbolic link at `path`. The target may be missing. A
// circle of links gives one of them.
std::string LinkTarget(const std::string& path);

// True when both paths lead to one file: the same file on the disk, or the same name in the same
// folder where there is no file yet.
bool LeadToSameFile(const std::string& one, const std::string& other);

}  // namespace kxrtc_host

#endif  // FILES_LINK_TARGET_H_
