#include "kx_utility/text_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kx_utility/file.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;

constexpr size_t kHuge = size_t{1} << 40;

std::string Pattern(size_t size) {
  std::string text(size, ' ');
  for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + i % 23);
  return text;
}

class TextSizeTest : public ::testing::TestWithParam<size_t> {};

TEST_P(TextSizeTest, ReadsExactlyTheBytesAskedFor) {
  const TempDir dir;
  WriteFile(dir.File("a"), Pattern(GetParam()) + "rest");
  File file = File::Open(dir.File("a"));
  std::string text = "old";
  ASSERT_TRUE(ReadText(&file, GetParam(), &text));
  EXPECT_EQ(Pattern(GetParam()), text);
  ASSERT_TRUE(ReadText(&file, 4, &text));
  EXPECT_EQ("rest", text);
}

INSTANTIATE_TEST_SUITE_P(AroundTheEdgesOfAPiece, TextSizeTest,
                         ::testing::Values(0, 1, 65535, 65536, 65537, 131072, 200001));

TEST(TextFileTest, FailsWhereFewerBytesArrive) {
  const TempDir dir;
  WriteFile(dir.File("a"), Pattern(70000));
  File file = File::Open(dir.File("a"));
  std::string text;
  EXPECT_FALSE(ReadText(&file, 70001, &text));
  EXPECT_EQ(Pattern(70000), text);
}

// The promise: an asked size alone takes no memory.
TEST(TextFileTest, TakesMemoryForWhatIsThereOnly) {
  const TempDir dir;
  WriteFile(dir.File("a"), "{}");
  File file = File::Open(dir.File("a"));
  std::string text;
  EXPECT_FALSE(ReadText(&file, kHuge, &text));
  EXPECT_EQ("{}", text);
}

TEST(TextFileTest, FailsOnAFileThatIsNotOpen) {
  File file;
  std::string text = "old";
  EXPECT_FALSE(ReadText(&file, 1, &text));
  EXPECT_EQ("", text);
  EXPECT_TRUE(ReadText(&file, 0, &text));
}

TEST(TextFileTest, EndsInTheHoleOfASparseFile) {
  const TempDir dir;
  WriteFile(dir.File("a"), "{}");
  std::filesystem::resize_file(dir.File("a"), kHuge);
  File file = File::Open(dir.File("a"));
  std::string text;
  ASSERT_TRUE(ReadText(&file, kHuge, &text));
  EXPECT_LT(text.size(), size_t{1} << 20);
  EXPECT_EQ("{}", text.substr(0, text.find('\0')));
}

TEST(TextFileTest, KeepsZerosInsideAText) {
  const TempDir dir;
  const std::string content = "a" + std::string(65534, '\0') + "b" + std::string(65535, '\0') + "c";
  WriteFile(dir.File("a"), content);
  File file = File::Open(dir.File("a"));
  std::string text;
  ASSERT_TRUE(ReadText(&file, content.size(), &text));
  EXPECT_EQ(content, text);
}

}  // namespace
}  // namespace kx_utility
