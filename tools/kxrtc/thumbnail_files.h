// The files that `kxrtc thumbnails` writes: they get their names when all are complete.
// Threads: an object belongs to one thread at a time.
#ifndef TOOLS_KXRTC_THUMBNAIL_FILES_H_
#define TOOLS_KXRTC_THUMBNAIL_FILES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/is_wanted.h"
#include "files/output_file.h"

namespace kxrtc_tool {

struct ThumbnailFile {
  std::string name;  // In the folder.
  uint64_t bytes = 0;
};

class ThumbnailFiles {
 public:
  // Files of these names are written; `force`: also over those that exist.
  ThumbnailFiles(std::string folder, bool force, kxrtc_host::IsWanted is_wanted)
      : folder_(std::move(folder)), force_(force), is_wanted_(std::move(is_wanted)) {}
  ~ThumbnailFiles();  // Without Commit() nothing stays.
  ThumbnailFiles(const ThumbnailFiles&) = delete;
  ThumbnailFiles& operator=(const ThumbnailFiles&) = delete;

  // Makes the folder if it is not there. Its parent must be.
  [[nodiscard]] bool Open();

  // Writes a file, under a hidden name.
  [[nodiscard]] bool Write(const std::string& name, const std::string& content);

  // Gives all files their names, in the order in which they were written. On false none of them
  // stays, except those that replaced an older one.
  [[nodiscard]] bool Commit();

  const std::vector<ThumbnailFile>& files() const { return files_; }

  // Why the latest call failed, and whether it was before a byte was written: the target cannot be
  // had.
  const std::string& error() const { return error_; }
  bool is_refused() const { return is_refused_; }

  // What the user of complete files must know; empty: nothing.
  const std::string& warning() const { return warning_; }

 private:
  // Removes files that were not there before.
  void RemoveFirst(size_t count) const;

  [[nodiscard]] bool Refuse(const std::string& why);

  const std::string folder_;
  const bool force_;
  const kxrtc_host::IsWanted is_wanted_;
  bool made_folder_ = false;
  std::vector<std::unique_ptr<kxrtc_host::OutputFile>> outputs_;  // Not yet under their names.
  std::vector<ThumbnailFile> files_;
  std::string error_;
  std::string warning_;
  bool is_refused_ = false;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_THUMBNAIL_FILES_H_
