// The working directory of the process, for code that finds its files relative to it.
#ifndef TESTS_TESTING_WORKING_DIR_H_
#define TESTS_TESTING_WORKING_DIR_H_

#include <filesystem>
#include <string>

namespace kx_testing {

// Works in `path` while it lives and returns to the former directory. One at a time.
class ScopedWorkingDir {
 public:
  explicit ScopedWorkingDir(const std::string& path) : former_(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  ~ScopedWorkingDir() { std::filesystem::current_path(former_); }
  ScopedWorkingDir(const ScopedWorkingDir&) = delete;
  ScopedWorkingDir& operator=(const ScopedWorkingDir&) = delete;

 private:
  const std::filesystem::path former_;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_WORKING_DIR_H_
