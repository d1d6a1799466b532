#include "files/file_sync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace kxrtc_host {
namespace {

// Slow disks take less than a second for so much.
constexpr uint64_t kPiece = 16 << 20;
constexpr unsigned kWriteAndWait =
    SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;

bool IsNotSupported(int error) {
  return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == ESPIPE;
}

}  // namespace

int SyncFile(int descriptor, uint64_t size, const IsWanted& is_wanted) {
  for (uint64_t position = 0; position < size; position += kPiece) {
    if (is_wanted && !is_wanted()) return ECANCELED;
    if (sync_file_range(descriptor, static_cast<off64_t>(position), kPiece, kWriteAndWait) == 0) {
      continue;
    }
    if (IsNotSupported(errno)) break;
    return errno;  // The kernel tells an error once: fsync() would not repeat it.
  }
  if (is_wanted && !is_wanted()) return ECANCELED;
  return fsync(descriptor) == 0 ? 0 : errno;
}

int SyncFolder(const std::string& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return errno;
  const int error = fsync(folder) == 0 || errno == EINVAL ? 0 : errno;
  (void)close(folder);
  return error;
}

}  // namespace kxrtc_host
