// A file of any kind that is read once, from its start to its end. Where a FIFO has no writer yet,
// or a terminal no input, reading waits and can be ended.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_SEQUENTIAL_FILE_H_
#define FILES_SEQUENTIAL_FILE_H_

#include <cstddef>
#include <string>
#include <utility>

#include "files/is_wanted.h"

namespace kxrtc_host {

class SequentialFile {
 public:
  enum class Result { kData, kEnd, kFailed, kStopped };

  SequentialFile() = default;
  ~SequentialFile();
  SequentialFile(const SequentialFile&) = delete;
  SequentialFile& operator=(const SequentialFile&) = delete;

  // Never waits. Call once. False: error() says why.
  [[nodiscard]] bool Open(const std::string& path);

  // Asked again and again while Read() waits; then it answers kStopped.
  void set_is_wanted(IsWanted is_wanted) { is_wanted_ = std::move(is_wanted); }

  // Reads the next bytes, 1 to `size` of them on kData. kFailed: error() says why.
  [[nodiscard]] Result Read(void* data, size_t size, size_t* count);

  const std::string& error() const { return error_; }

 private:
  int descriptor_ = -1;
  IsWanted is_wanted_;
  std::string error_;
};

}  // namespace kxrtc_host

#endif  // FILES_SEQUENTIAL_FILE_H_
