#include "files/new_folder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "tests/testing/failing_disk.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using testing::HasSubstr;

TEST(NewFolderTest, AppearsOnlyWhenItIsComplete) {
  const TempDir dir;
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir.File("new/")));
  ASSERT_TRUE(folder.BeginFile("a"));
  ASSERT_TRUE(folder.Append("text", 4));
  ASSERT_TRUE(folder.BeginFile("b"));
  EXPECT_FALSE(std::filesystem::exists(dir.File("new")));
  ASSERT_TRUE(folder.Commit());
  EXPECT_EQ(kx_testing::ReadFile(dir.File("new/a")), "text");
  EXPECT_EQ(kx_testing::ReadFile(dir.File("new/b")), "");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(NewFolderTest, VanishesWithoutCommit) {
  const TempDir dir;
  {
    NewFolder folder;
    ASSERT_TRUE(folder.Create(dir.File("new")));
    ASSERT_TRUE(folder.BeginFile("a"));
    ASSERT_TRUE(folder.Append("text", 4));
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(NewFolderTest, NeverTakesANameThatAppearedMeanwhile) {
  const TempDir dir;
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir.File("new")));
  std::filesystem::create_directory(dir.File("new"));
  EXPECT_FALSE(folder.Commit());
  EXPECT_THAT(folder.error(), HasSubstr(dir.File("new")));
  EXPECT_TRUE(std::filesystem::is_empty(dir.File("new")));
}

TEST(NewFolderTest, EndsAtAnyTimeAndLeavesNothing) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("source"), std::string(1000000, 'a'));
  ReadOnlyFile source;
  ASSERT_EQ(source.Open(dir.File("source")), ReadOnlyFile::State::kOpen);
  const std::string piece(300000, 'b');
  bool committed = false;
  for (int turns = 0; !committed; ++turns) {
    ASSERT_LT(turns, 20);
    int left = turns;
    NewFolder folder;
    folder.set_sync(false);
    folder.set_is_wanted([&left] { return left-- > 0; });
    ASSERT_TRUE(folder.Create(dir.File("new")));
    committed = folder.BeginFile("a") && folder.Append(piece.data(), piece.size()) &&
                folder.BeginFile("b") && folder.Copy(source, 0, 1000000) && folder.Commit();
    EXPECT_EQ(committed, turns >= 8) << turns;
    EXPECT_EQ(folder.error(), committed ? "" : "stopped; nothing is written");
    EXPECT_EQ(std::filesystem::exists(dir.File("new")), committed);
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
}

TEST(NewFolderTest, TakesTheLongestName) {
  const TempDir dir;
  const std::string name(255, 'x');
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir.File(name))) << folder.error();
  ASSERT_TRUE(folder.Commit()) << folder.error();
  EXPECT_TRUE(std::filesystem::is_directory(dir.File(name)));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
  EXPECT_FALSE(folder.Create(dir.File(name + 'x')));
  EXPECT_EQ(folder.error(), dir.File(name) + "x: File name too long");
}

TEST(NewFolderTest, NeedsAName) {
  NewFolder folder;
  EXPECT_FALSE(folder.Create(""));
  EXPECT_EQ(folder.error(), "\"\" is not a folder name");
}

TEST(NewFolderTest, HasTheModeOfAnyNewFolder) {
  const TempDir dir;
  const mode_t mask = ::umask(027);
  NewFolder folder;
  const bool made = folder.Create(dir.File("new")) && folder.BeginFile("a") && folder.Commit();
  ::umask(mask);
  ASSERT_TRUE(made);
  struct stat status {};
  ASSERT_EQ(::stat(dir.File("new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0750u);
  ASSERT_EQ(::stat(dir.File("new/a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(NewFolderTest, CopiesTheFirstBytesOfAFile) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("source"), std::string(600000, 'a') + "rest");
  ReadOnlyFile source;
  ASSERT_EQ(source.Open(dir.File("source")), ReadOnlyFile::State::kOpen);
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir.File("new")));
  ASSERT_TRUE(folder.BeginFile("a"));
  ASSERT_TRUE(folder.Copy(source, 0, 600002));
  ASSERT_TRUE(folder.Commit());
  EXPECT_EQ(kx_testing::ReadFile(dir.File("new/a")), std::string(600000, 'a') + "re");
}

TEST(NewFolderTest, ExplainsASourceThatBecameShorter) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("source"), std::string(1000, 'a'));
  ReadOnlyFile source;
  ASSERT_EQ(source.Open(dir.File("source")), ReadOnlyFile::State::kOpen);
  std::filesystem::resize_file(dir.File("source"), 10);
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir.File("new")));
  ASSERT_TRUE(folder.BeginFile("a"));
  EXPECT_FALSE(folder.Copy(source, 0, 1000));
  EXPECT_THAT(folder.error(), HasSubstr("became shorter"));
  EXPECT_TRUE(folder.is_source_error());
}

class AbandonedFolderTest : public testing::Test {
 protected:
  // A program that is killed while it writes.
  void SetUp() override {
    const pid_t child = fork();
    if (child == 0) {
      NewFolder folder;
      if (folder.Create(dir_.File("new")) && folder.BeginFile("a") && folder.BeginFile("b")) {
        kill(getpid(), SIGKILL);
      }
      _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    left_ = std::filesystem::directory_iterator(dir_.path())->path();
  }

  TempDir dir_;
  std::string left_;
};

TEST_F(AbandonedFolderTest, IsRemovedByTheNextRun) {
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir_.File("new"), {"a", "b", "c"}));
  EXPECT_FALSE(std::filesystem::exists(left_));
  ASSERT_TRUE(folder.Commit());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
}

TEST_F(AbandonedFolderTest, KeepsFilesOfOtherNames) {
  kx_testing::WriteFile(left_ + "/mine", "mine");
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir_.File("new"), {"a", "b", "c"}));
  EXPECT_EQ(kx_testing::ReadFile(left_ + "/mine"), "mine");
}

TEST_F(AbandonedFolderTest, IsNotThatOfALivingProgram) {
  NewFolder first;
  NewFolder second;
  ASSERT_TRUE(first.Create(dir_.File("new"), {"a", "b"}));
  ASSERT_TRUE(first.BeginFile("a"));
  ASSERT_TRUE(second.Create(dir_.File("new"), {"a", "b"}));
  ASSERT_TRUE(first.Commit());
  EXPECT_TRUE(std::filesystem::exists(dir_.File("new/a")));
  EXPECT_FALSE(second.Commit());
}

struct CommitFault {
  const char* name;
  kx_testing::FailingCall call;
};

class NewFolderCommitTest : public testing::TestWithParam<CommitFault> {};

TEST_P(NewFolderCommitTest, TellsAFailureAndLeavesNothing) {
  const TempDir dir;
  bool committed = true;
  std::string error;
  {
    NewFolder folder;
    ASSERT_TRUE(folder.Create(dir.File("new")));
    ASSERT_TRUE(folder.BeginFile("a"));
    ASSERT_TRUE(folder.Append("text", 4));
    if (!kx_testing::RunWithFailingCall(GetParam().call, [&] { committed = folder.Commit(); })) {
      GTEST_SKIP() << "this system lets no call fail";
    }
    error = folder.error();
  }
  EXPECT_FALSE(committed);
  EXPECT_THAT(error, testing::AllOf(testing::StartsWith(dir.File("new")),
                                    testing::EndsWith(": Input/output error")));
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, NewFolderCommitTest,
    testing::Values(CommitFault{"Write", {SYS_write, EIO}},
                    CommitFault{"Flush", {SYS_sync_file_range, EIO}},
                    CommitFault{"Sync", {SYS_fsync, EIO}}, CommitFault{"Close", {SYS_close, EIO}},
                    CommitFault{"SyncFolder", {SYS_openat, EIO, 2, O_DIRECTORY}},
                    CommitFault{"Rename", {SYS_renameat2, EIO}}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(NewFolderTest, AParentThatCannotBeSyncedIsAWarning) {
  const TempDir dir;
  NewFolder folder;
  ASSERT_TRUE(folder.Create(dir.File("new")));
  ASSERT_TRUE(folder.BeginFile("a"));
  std::filesystem::permissions(
      dir.path(), std::filesystem::perms::owner_write | std::filesystem::perms::owner_exec);
  // Only a user without special rights notices.
  const bool is_notable = access(dir.path().c_str(), R_OK) != 0;
  EXPECT_TRUE(folder.Commit());
  std::filesystem::permissions(dir.path(), std::filesystem::perms::owner_all);
  EXPECT_EQ(folder.warning().empty(), !is_notable);
  EXPECT_TRUE(std::filesystem::exists(dir.File("new/a")));
}

}  // namespace
}  // namespace kxrtc_host
