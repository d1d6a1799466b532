#include "files/sequential_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using Result = SequentialFile::Result;

TEST(SequentialFileTest, GivesAllBytesOfAFile) {
  TempDir dir;
  kx_testing::WriteFile(dir.File("a"), "abcde");
  SequentialFile file;
  ASSERT_TRUE(file.Open(dir.File("a")));
  std::string all;
  char piece[2];
  size_t count = 0;
  while (file.Read(piece, sizeof(piece), &count) == Result::kData) all.append(piece, count);
  EXPECT_EQ(all, "abcde");
  EXPECT_EQ(file.Read(piece, sizeof(piece), &count), Result::kEnd);
}

TEST(SequentialFileTest, WaitsForTheWriterOfAFifoAsLongAsItIsWanted) {
  TempDir dir;
  ASSERT_EQ(mkfifo(dir.File("fifo").c_str(), 0600), 0);
  SequentialFile file;
  ASSERT_TRUE(file.Open(dir.File("fifo")));
  char byte = 0;
  size_t count = 0;
  int questions = 0;
  file.set_is_wanted([&questions] { return ++questions < 3; });
  EXPECT_EQ(file.Read(&byte, 1, &count), Result::kStopped);
  EXPECT_EQ(questions, 3);
  int writer = -1;
  file.set_is_wanted([&] {
    if (writer < 0) {
      writer = open(dir.File("fifo").c_str(), O_WRONLY | O_CLOEXEC);
      EXPECT_EQ(write(writer, "x", 1), 1);
    }
    return true;
  });
  EXPECT_EQ(file.Read(&byte, 1, &count), Result::kData);
  EXPECT_EQ(byte, 'x');
  close(writer);
  EXPECT_EQ(file.Read(&byte, 1, &count), Result::kEnd);
}

TEST(SequentialFileTest, SaysWhatIsWrong) {
  TempDir dir;
  SequentialFile missing;
  EXPECT_FALSE(missing.Open(dir.File("missing")));
  EXPECT_EQ(missing.error(), "No such file or directory");
  SequentialFile folder;
  ASSERT_TRUE(folder.Open(dir.path()));
  char byte = 0;
  size_t count = 0;
  EXPECT_EQ(folder.Read(&byte, 1, &count), Result::kFailed);
  EXPECT_EQ(folder.error(), "Is a directory");
}

}  // namespace
}  // namespace kxrtc_host
