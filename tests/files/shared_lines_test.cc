#include "files/shared_lines.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/testing/failing_disk.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::ReadFile;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using Access = SharedLines::Access;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SharedLinesTest : public ::testing::Test {
 protected:
  bool Append(const std::string& line) {
    SharedLines lines;
    const bool is_appended =
        lines.Open(path_, Access::kAppend) && lines.Lock({}) && lines.Append(line);
    error_ = lines.error_text();
    return is_appended;
  }
  std::vector<std::string> Read() {
    SharedLines lines;
    std::vector<std::string> read;
    EXPECT_TRUE(lines.Open(path_, Access::kReadOnly));
    EXPECT_TRUE(lines.Read([&read](const std::string& line) { read.push_back(line); }));
    return read;
  }

  const TempDir dir_;
  const std::string path_ = dir_.File("lines");
  std::string error_;
};

TEST_F(SharedLinesTest, ReadsWhatWasAppended) {
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(path_));
  ASSERT_TRUE(Append("one"));
  ASSERT_TRUE(Append("two"));
  EXPECT_THAT(Read(), ElementsAre("one", "two"));
  EXPECT_EQ(ReadFile(path_), "one\ntwo\n");
}

TEST_F(SharedLinesTest, APartOfALineIsNoneAndMakesRoom) {
  for (const size_t bytes : {size_t{1}, size_t{300000}}) {
    WriteFile(path_, "one\n" + std::string(bytes, 'x'));
    EXPECT_THAT(Read(), ElementsAre("one"));
    ASSERT_TRUE(Append("two"));
    EXPECT_THAT(Read(), ElementsAre("one", "two"));
    WriteFile(path_, std::string(bytes, 'x'));
    EXPECT_THAT(Read(), IsEmpty());
    ASSERT_TRUE(Append("two"));
    EXPECT_EQ(ReadFile(path_), "two\n");
  }
}

TEST_F(SharedLinesTest, AFullDiskLeavesNoPartOfALine) {
  ASSERT_TRUE(Append("one"));
  for (const uint64_t room : {0, 1, 3}) {
    {
      const kx_testing::ScopedFileSizeLimit full(4 + room);
      EXPECT_FALSE(Append("two"));
      EXPECT_THAT(error_, HasSubstr(path_ + ": "));
    }
    EXPECT_EQ(ReadFile(path_), "one\n");
  }
  const kx_testing::ScopedFileSizeLimit enough(8);
  EXPECT_TRUE(Append("two"));
}

TEST_F(SharedLinesTest, LinesOfManyWritersStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 25;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int line = 0; line < kLines; ++line) {
        SharedLines lines;
        EXPECT_TRUE(lines.Open(path_, Access::kAppend) && lines.Lock({}) &&
                    lines.Append(std::string(500, static_cast<char>('a' + i))));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> read = Read();
  EXPECT_EQ(read.size(), size_t{kThreads * kLines});
  for (const std::string& line : read) EXPECT_EQ(line, std::string(500, line[0]));
}

TEST_F(SharedLinesTest, WaitsForTheLockAsLongAsItIsWanted) {
  SharedLines holder;
  ASSERT_TRUE(holder.Open(path_, Access::kAppend) && holder.Lock({}));
  SharedLines other;
  ASSERT_TRUE(other.Open(path_, Access::kAppend));
  int asked = 0;
  EXPECT_FALSE(other.Lock([&asked] { return ++asked < 3; }));
  EXPECT_EQ(asked, 3);
  // Who waits writes to the file that has the name by then.
  EXPECT_TRUE(other.Lock([&] {
    std::filesystem::rename(path_, dir_.File("moved"));
    holder.Unlock();
    return true;
  }));
  EXPECT_TRUE(other.Append("new"));
  EXPECT_EQ(ReadFile(path_), "new\n");
  EXPECT_EQ(ReadFile(dir_.File("moved")), "");
}

TEST_F(SharedLinesTest, LongLinesArePassedOver) {
  const std::string longest(SharedLines::kMaxLineBytes, 'x');
  WriteFile(path_, longest + "\n" + longest + "y\nshort\n");
  EXPECT_THAT(Read(), ElementsAre(longest, "short"));
}

TEST_F(SharedLinesTest, OnlyFilesHaveLines) {
  std::filesystem::create_directory(path_);
  EXPECT_FALSE(Append("one"));
  std::filesystem::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_FALSE(Append("one"));
  EXPECT_EQ(error_, path_ + ": is not a regular file");
}

}  // namespace
}  // namespace kxrtc_host
