// Keeps a folder for one process at a time.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_FOLDER_LOCK_H_
#define FILES_FOLDER_LOCK_H_

#include <string>

namespace kxrtc_host {

// Locks the folder itself, so that no file is left in it. The system frees the lock when the
// process ends, however it ends. The lock holds among the processes of one machine: on a network
// file system it does not reach other machines.
class FolderLock {
 public:
  enum class Result { kLocked, kTaken, kFailed };

  FolderLock() = default;
  ~FolderLock() { Unlock(); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  // Locks the existing folder `path`, without waiting. kTaken: another holder has it. Then
  // and for kFailed, error() has the reason.
  [[nodiscard]] Result Lock(const std::string& path);
  void Unlock();

  bool is_locked() const { return descriptor_ >= 0; }

  // One line, for kTaken with the number of the other process where the system tells it.
  const std::string& error() const { return error_; }

 private:
  Result TryOnce(const std::string& path);

  int descriptor_ = -1;
  bool moved_ = false;  // The folder got another name between opening and locking.
  std::string error_;
};

}  // namespace kxrtc_host

#endif  // FILES_FOLDER_LOCK_H_
