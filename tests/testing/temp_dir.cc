#include "tests/testing/temp_dir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace kx_testing {

TempDir::TempDir() {
  std::string name = (std::filesystem::temp_directory_path() / "kxrtc_test_XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no temporary folder: " << name;
  path_ = name + "/";
}

TempDir::~TempDir() {
  std::error_code ignored;  // A folder that cannot be removed is no test failure.
  std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  ASSERT_TRUE(file.good()) << path;
}

void AppendToFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::app);
  file << content;
  file.close();
  ASSERT_TRUE(file.good()) << path;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path;
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

}  // namespace kx_testing
