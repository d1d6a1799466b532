// A folder for the files that a fuzz target feeds to the library.
#ifndef FUZZ_FUZZ_FOLDER_H_
#define FUZZ_FUZZ_FOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/fuzz_input.h"

namespace kx_fuzz {

// A new folder, in memory where the system offers that; removed with its content at the end.
class FuzzFolder {
 public:
  FuzzFolder() {
    const bool in_memory = std::filesystem::is_directory("/dev/shm");
    std::string name = in_memory ? "/dev/shm/kxrtc_fuzz_XXXXXX" : "/tmp/kxrtc_fuzz_XXXXXX";
    Check(mkdtemp(name.data()) != nullptr, "a folder can be made");
    path_ = name + "/";
  }
  ~FuzzFolder() {
    std::error_code ignored;  // There is nobody left to tell.
    std::filesystem::remove_all(path_, ignored);
  }
  FuzzFolder(const FuzzFolder&) = delete;
  FuzzFolder& operator=(const FuzzFolder&) = delete;

  // With a trailing "/".
  const std::string& path() const { return path_; }

  // Replaces the file's content.
  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ + name, std::ios::binary | std::ios::trunc) << content;
  }

 private:
  std::string path_;
};

}  // namespace kx_fuzz

#endif  // FUZZ_FUZZ_FOLDER_H_
