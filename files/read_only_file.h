// Reads a file without changing it or waiting for it. Opens only regular files and links to them,
// never a FIFO, a folder or a device.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_READ_ONLY_FILE_H_
#define FILES_READ_ONLY_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kxrtc_host {

class ReadOnlyFile {
 public:
  enum class State { kClosed, kOpen, kMissing, kUnreadable };

  ReadOnlyFile() = default;
  ~ReadOnlyFile();
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

  // Opens `path` for reading and stores its size; later growth of the file is ignored. For kMissing
  // and kUnreadable, error() has the reason.
  State Open(const std::string& path);

  // Reads into `buffer` from `position` on. Returns the number of bytes: fewer than `size` at the
  // end of the file or after a read error.
  [[nodiscard]] size_t Read(uint64_t position, void* buffer, size_t size) const;

  // True when a read has failed; otherwise one that gave too few bytes met the end of the file.
  bool has_read_error() const { return read_errno_ != 0; }

  // What is told after a read that gave too few bytes: "became shorter while it was read", or for
  // an error "cannot be read: Input/output error".
  [[nodiscard]] std::string ReadFailureText() const;

  // The same for small reads in rising order: serves them from a window of kWindowSize bytes.
  // A pointer to `size` bytes, valid until the next call, or null when there are fewer.
  [[nodiscard]] const uint8_t* View(uint64_t position, size_t size) {
    const bool inside = position >= window_start_ && position - window_start_ <= window_.size() &&
                        size <= window_.size() - (position - window_start_);
    return inside || MoveWindow(position, size) ? window_.data() + (position - window_start_)
                                                : nullptr;
  }

  // True when the file system accepts `position`, which may be after the end.
  [[nodiscard]] bool CanSeekTo(uint64_t position) const;

  // The first position from `position` on that is not in a hole of the file; size() if there is
  // none.
  [[nodiscard]] uint64_t NextData(uint64_t position) const;

  // The first position from `position` on that is in a hole of the file; size() if there is none.
  [[nodiscard]] uint64_t NextHole(uint64_t position) const;

  State state() const { return state_; }
  bool is_open() const { return state_ == State::kOpen; }
  const std::string& path() const { return path_; }
  const std::string& error() const { return error_; }
  uint64_t size() const { return size_; }
  int descriptor() const { return descriptor_; }

  static constexpr size_t kWindowSize = 256 * 1024;

 private:
  void Close();
  bool MoveWindow(uint64_t position, size_t size);

  std::string path_;
  std::string error_;
  State state_ = State::kClosed;
  int descriptor_ = -1;
  uint64_t size_ = 0;
  mutable int read_errno_ = 0;  // Of the first read that failed.
  std::vector<uint8_t> window_;
  uint64_t window_start_ = 0;
};

}  // namespace kxrtc_host

#endif  // FILES_READ_ONLY_FILE_H_
