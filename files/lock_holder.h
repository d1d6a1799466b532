// Who holds a lock.
// Threads: any.
#ifndef FILES_LOCK_HOLDER_H_
#define FILES_LOCK_HOLDER_H_

#include <sys/stat.h>

#include <string>

namespace kxrtc_host {

// The process that holds the flock() of this file or folder: "process 4711"; "another process" when
// the system does not tell it, as for another machine.
std::string LockHolder(const struct stat& locked);

}  // namespace kxrtc_host

#endif  // FILES_LOCK_HOLDER_H_
