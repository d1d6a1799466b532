// Which file a path leads to, whether the file exists or not.
// Threads: any.
#ifndef HOST_SHARED_LINK_TARGET_H_
#define HOST_SHARED_LINK_TARGET_H_

#include <string>

namespace kxrtc_host {

// `path` itself, or where the symbolic link of that name leads in the end, however many links there
// are in between. The file there may be missing. A circle of links gives one of them.
std::string LinkTarget(const std::string& path);

// True when both paths lead to one file: the same file on the disk, or the same name in the same
// folder where there is no file yet.
bool LeadToSameFile(const std::string& one, const std::string& other);

}  // namespace kxrtc_host

#endif  // HOST_SHARED_LINK_TARGET_H_
