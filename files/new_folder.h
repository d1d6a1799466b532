// A folder that appears under its name only when it is complete: its files are written into a
// temporary folder beside it, synced, and the folder is renamed.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_NEW_FOLDER_H_
#define FILES_NEW_FOLDER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "files/is_wanted.h"
#include "files/read_only_file.h"

namespace kxrtc_host {

class NewFolder {
 public:
  // In temporary names, what stands before that of TemporaryEntry.
  static constexpr char kTemporaryMark[] = ".partial-";

  NewFolder() = default;
  ~NewFolder();  // Discards what was not committed.
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;

  // True for the name of a temporary folder: one that is being made, or was never completed.
  static bool IsTemporaryName(const std::string& name);

  // Makes the temporary folder. False when `path` already exists in any form, is not a
  // valid name, or its parent does not exist. The folder that a killed program left for the same
  // `path` is removed, unless it has files other than `names`.
  [[nodiscard]] bool Create(const std::string& path, const std::vector<std::string>& names = {});

  // Begins the next file and ends the previous one.
  [[nodiscard]] bool BeginFile(const std::string& name);

  // Appends to the current file. Small pieces are buffered.
  [[nodiscard]] bool Append(const char* data, size_t size);

  // Appends `size` bytes of `source` from `begin` on. Holes stay holes.
  [[nodiscard]] bool Copy(const ReadOnlyFile& source, uint64_t begin, uint64_t size);

  // False: nothing waits for the disk, and a crash of the machine may lose the folder.
  void set_sync(bool sync) { sync_ = sync; }

  // Asked from time to time and before the folder is renamed; false ends the work with a failure.
  void set_is_wanted(IsWanted is_wanted) { is_wanted_ = std::move(is_wanted); }

  // Syncs everything and gives the folder its name. False also when the name was
  // taken in the meantime. On true the folder is complete; see warning().
  [[nodiscard]] bool Commit();

  // The reason of the latest failure.
  const std::string& error() const { return error_; }

  // What the user of a complete folder must know; empty: nothing.
  const std::string& warning() const { return warning_; }

  // True when that failure was in a source, not in the new folder.
  bool is_source_error() const { return is_source_error_; }

 private:
  bool Fail(const std::string& what);
  bool FailSource(const ReadOnlyFile& source);
  bool CheckWanted();
  bool CreateTemporary(const std::vector<std::string>& names);
  bool Rename();
  bool EndFile();
  bool SyncCurrent();
  bool Flush();
  bool WriteAll(const char* data, size_t size);
  bool CopyRange(const ReadOnlyFile& source, uint64_t begin, uint64_t end, uint64_t target);
  void Discard();

  std::string path_;
  std::string temporary_;       // Empty when there is none.
  int folder_descriptor_ = -1;  // Holds the lock of the temporary folder.
  std::vector<std::string> files_;
  std::string buffer_;
  int descriptor_ = -1;
  bool sync_ = true;
  IsWanted is_wanted_;
  std::string error_;
  std::string warning_;
  bool is_source_error_ = false;
};

}  // namespace kxrtc_host

#endif  // FILES_NEW_FOLDER_H_
