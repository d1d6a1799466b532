// A file that appears under its name only when it is complete.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_OUTPUT_FILE_H_
#define FILES_OUTPUT_FILE_H_

#include <cstdint>
#include <string>

namespace kxrtc_host {

// Writes into a hidden file beside the target. Commit() renames it; without Commit() no file stays.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();  // Calls Discard().
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Creates the hidden file. A symbolic link is followed, also to a file that is missing, and
  // stays. On false error_text() says why: the target exists and `replace_existing` is not set, it
  // is not a regular file, or its folder cannot be written.
  [[nodiscard]] bool Open(const std::string& path, bool replace_existing);

  // Asks the file system for room for `bytes` in one piece, which makes writing faster. Does
  // nothing if that needs more than half of the free disk, or if the file system cannot do it.
  void Reserve(uint64_t bytes);

  // Writes or reads all of `size` bytes at `position`. False: error_text() and error_number().
  [[nodiscard]] bool WriteAt(uint64_t position, const void* data, uint64_t size);
  [[nodiscard]] bool ReadAt(uint64_t position, void* data, uint64_t size);

  // Syncs the content to the disk (unless `sync` is false) and renames. Replaces a target
  // that was created in the meantime only if asked. On false no file is left; see error_text().
  [[nodiscard]] bool Commit(bool sync);

  // Removes the hidden file. Harmless when there is none.
  void Discard();

  uint64_t size() const { return size_; }
  const std::string& error_text() const { return error_text_; }
  int error_number() const { return error_number_; }

 private:
  bool FailWith(const std::string& what, int error_number);
  bool CheckTarget();
  bool Rename();

  int fd_ = -1;
  uint64_t size_ = 0;  // One past the last byte written.
  bool reserved_ = false;
  bool replace_existing_ = false;
  std::string path_;    // As it was given.
  std::string target_;  // The file that `path_` leads to.
  std::string folder_;
  std::string temporary_path_;
  std::string error_text_;
  int error_number_ = 0;
};

}  // namespace kxrtc_host

#endif  // FILES_OUTPUT_FILE_H_
