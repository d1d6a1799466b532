// Keeps an output for one process at a time, from before it begins its work.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_OUTPUT_LOCK_H_
#define FILES_OUTPUT_LOCK_H_

#include <string>

namespace kxrtc_host {

// The lock is a hidden file beside the output, which its holder removes. The system frees the lock
// when the process ends, however it ends; what a killed process leaves is taken over. It holds
// among the processes of one machine, and on a network file system among machines if the file
// system passes locks on, as NFS does. Where there are no locks, there is none.
class OutputLock {
 public:
  enum class Result {
    kLocked,
    kTaken,  // Somebody makes this output: see holder().
    kNone,   // No lock can be had. The output may be made without.
  };

  OutputLock() = default;
  ~OutputLock() { Unlock(); }
  OutputLock(const OutputLock&) = delete;
  OutputLock& operator=(const OutputLock&) = delete;

  // Does not wait. Follows symbolic links, so that all names of an output have one lock.
  [[nodiscard]] Result Lock(const std::string& output);
  // The same, but makes no lock where none is: what a killed process left is taken over.
  [[nodiscard]] Result LockLeftOver(const std::string& output);
  void Unlock();

  // Somebody has the lock of this output, or was killed with it.
  static bool IsThere(const std::string& output);

  // "process 4711" or, when the system does not tell it, "another process".
  const std::string& holder() const { return holder_; }

 private:
  enum class Try { kLocked, kTaken, kNone, kMoved };

  Try TryOnce();

  std::string path_;  // Of the lock file.
  int descriptor_ = -1;
  std::string holder_;
};

}  // namespace kxrtc_host

#endif  // FILES_OUTPUT_LOCK_H_
