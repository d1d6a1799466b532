// A file that appears under its name only when it is complete.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_OUTPUT_FILE_H_
#define FILES_OUTPUT_FILE_H_

#include <sys/uio.h>

#include <cstdint>
#include <string>
#include <utility>

#include "files/is_wanted.h"

namespace kxrtc_host {

struct TemporaryEntry;

// Writes into a hidden file beside the target. Commit() renames it; without Commit() no file stays.
// What a killed program left is removed when the same target is opened again.
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

  // Asked before each piece that is written, read or synced; then the call fails.
  void set_is_wanted(IsWanted is_wanted) { is_wanted_ = std::move(is_wanted); }

  // Asks the file system for room for `bytes` in one piece, which makes writing faster. Does
  // nothing if that needs more than half of the free disk, or if the file system cannot do it.
  void Reserve(uint64_t bytes);

  // Writes or reads all of `size` bytes at `position`. False: error_text() and error_number().
  [[nodiscard]] bool WriteAt(uint64_t position, const void* data, uint64_t size);
  [[nodiscard]] bool ReadAt(uint64_t position, void* data, uint64_t size);

  // The same for `count` pieces, at most IOV_MAX, which follow each other in the file. Changes
  // them.
  [[nodiscard]] bool WriteGathered(uint64_t position, iovec* pieces, size_t count);

  // Syncs the content to the disk (unless `sync` is false), closes the file and renames it.
  // Replaces a target that was created in the meantime only if asked. On false no file is left; see
  // error_text(). On true the target is complete; see warning_text().
  [[nodiscard]] bool Commit(bool sync);

  // Removes what killed programs left of the target `path`. Open() does it too.
  static void RemoveAbandoned(const std::string& path);

  // Removes the hidden file. Harmless when there is none.
  void Discard();

  uint64_t size() const { return size_; }
  const std::string& error_text() const { return error_text_; }
  int error_number() const { return error_number_; }

  // What the user of a complete file must know; empty: nothing.
  const std::string& warning_text() const { return warning_text_; }

 private:
  bool FailWith(const std::string& what, int error_number);
  bool CheckWanted();
  bool CheckTarget();
  bool CreateHidden(const TemporaryEntry& hidden);
  bool Sync();
  bool CloseAndRename();
  bool Rename();

  int fd_ = -1;
  uint64_t size_ = 0;  // One past the last byte written.
  bool reserved_ = false;
  bool replace_existing_ = false;
  std::string path_;    // As it was given.
  std::string target_;  // The file that `path_` leads to.
  std::string folder_;
  std::string temporary_path_;
  IsWanted is_wanted_;
  std::string error_text_;
  int error_number_ = 0;
  std::string warning_text_;
};

}  // namespace kxrtc_host

#endif  // FILES_OUTPUT_FILE_H_
