// A folder that lives as long as the test.
#ifndef TESTS_TESTING_TEMP_DIR_H_
#define TESTS_TESTING_TEMP_DIR_H_

#include <string>
#include <vector>

namespace kx_testing {

// An empty folder under the system's temporary directory, removed with its content at the end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The folder's path with a trailing "/", the form in which a record's folder is passed.
  const std::string& path() const { return path_; }

  // The path of `name` inside the folder.
  std::string File(const std::string& name) const { return path_ + name; }

 private:
  std::string path_;
};

// Whole-file helpers; a failure fails the running test.
void WriteFile(const std::string& path, const std::string& content);
void AppendToFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);

}  // namespace kx_testing

#endif  // TESTS_TESTING_TEMP_DIR_H_
