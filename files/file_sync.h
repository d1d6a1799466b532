// Waits until files and names are on the disk.
// Threads: any.
#ifndef FILES_FILE_SYNC_H_
#define FILES_FILE_SYNC_H_

#include <cstdint>
#include <string>

#include "files/is_wanted.h"

namespace kxrtc_host {

// Syncs the file's `size` bytes, piece by piece so that it ends soon when it is not wanted any
// more. The result is 0, an error number, or ECANCELED when it is not wanted.
[[nodiscard]] int SyncFile(int descriptor, uint64_t size, const IsWanted& is_wanted);

// Syncs the names in a folder. The result is 0 or an error number; file systems that cannot do it
// give 0.
[[nodiscard]] int SyncFolder(const std::string& path);

}  // namespace kxrtc_host

#endif  // FILES_FILE_SYNC_H_
