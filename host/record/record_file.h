// Reads one file of a speaker record without ever changing it or waiting on it: only regular files
// are opened (links to them included), never a FIFO, a folder or a device.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_RECORD_FILE_H_
#define HOST_RECORD_RECORD_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kxrtc_host {

class RecordFile {
 public:
  enum class State { kClosed, kOpen, kMissing, kUnreadable };

  RecordFile() = default;
  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // Opens `path` for reading and takes its size, which stays as it is afterwards even where the
  // file grows. State kMissing and kUnreadable leave a reason in error().
  State Open(const std::string& path);

  // Bytes read into `buffer` from `position` on; fewer than `size` at the end of the file or after
  // a read error.
  [[nodiscard]] size_t Read(uint64_t position, void* buffer, size_t size) const;

  // The same for small reads in rising order: serves them from a window of kWindowSize bytes.
  // A pointer to `size` bytes, valid until the next call, or null when there are fewer.
  [[nodiscard]] const uint8_t* View(uint64_t position, size_t size);

  // True when the file system takes `position`, which may lie behind the end.
  [[nodiscard]] bool CanSeekTo(uint64_t position) const;

  State state() const { return state_; }
  bool is_open() const { return state_ == State::kOpen; }
  const std::string& path() const { return path_; }
  const std::string& error() const { return error_; }
  uint64_t size() const { return size_; }
  int descriptor() const { return descriptor_; }

  static constexpr size_t kWindowSize = 256 * 1024;

 private:
  void Close();

  std::string path_;
  std::string error_;
  State state_ = State::kClosed;
  int descriptor_ = -1;
  uint64_t size_ = 0;
  std::vector<uint8_t> window_;
  uint64_t window_start_ = 0;
};

// The path of a record's folder as the library takes it: with one trailing separator.
std::string RecordFolderPath(const std::string& folder);

// The four files of a record.
struct RecordFiles {
  RecordFile index;
  RecordFile video;
  RecordFile audio;
  RecordFile descriptor;

  // Opens all four, each as far as it goes.
  void Open(const std::string& folder);
};

// Why the library's replay cannot open the record in `folder`, in one line that names the file: it
// is missing, is no file, such as a FIFO, or may not be written. The library opens all four for
// writing too, though a replay writes nothing. Empty when it can.
std::string ReplayObstacle(const std::string& folder);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_RECORD_FILE_H_
