#include "files/output_file.h"

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

using kx_testing::ReadFile;
using kx_testing::TempDir;
using kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> Names(const TempDir& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

TEST(OutputFileTest, AppearsUnderItsNameOnlyWhenItIsCommitted) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a:b.mp4"), false)) << file.error_text();
  ASSERT_TRUE(file.WriteAt(4, "tail", 4));
  ASSERT_TRUE(file.WriteAt(0, "head", 4));
  EXPECT_FALSE(std::filesystem::exists(dir.File("a:b.mp4")));
  char back[4];
  ASSERT_TRUE(file.ReadAt(2, back, 4));
  EXPECT_EQ(std::string(back, 4), "adta");
  EXPECT_EQ(file.size(), 8u);
  ASSERT_TRUE(file.Commit(true)) << file.error_text();
  EXPECT_THAT(Names(dir), ElementsAre("a:b.mp4"));
  EXPECT_EQ(ReadFile(dir.File("a:b.mp4")), "headtail");
}

TEST(OutputFileTest, HasThePermissionsOfAnyNewFile) {
  TempDir dir;
  const mode_t mask = umask(027);
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  ASSERT_TRUE(file.Commit(false));
  umask(mask);
  struct stat info;
  ASSERT_EQ(stat(dir.File("a.mp4").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0640u);
}

TEST(OutputFileTest, LeavesNothingWithoutACommit) {
  TempDir dir;
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
    ASSERT_TRUE(file.WriteAt(0, "x", 1));
    EXPECT_EQ(Names(dir).size(), 1u);
  }
  EXPECT_THAT(Names(dir), IsEmpty());
}

TEST(OutputFileTest, KeepsAFileThatExists) {
  TempDir dir;
  WriteFile(dir.File("a.mp4"), "mine");
  OutputFile file;
  EXPECT_FALSE(file.Open(dir.File("a.mp4"), false));
  EXPECT_EQ(file.error_text(), dir.File("a.mp4") + " already exists");
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "mine");
}

TEST(OutputFileTest, FollowsALinkToAFileThatIsMissing) {
  TempDir dir;
  std::filesystem::create_directory(dir.File("folder"));
  std::filesystem::create_symlink("folder/b.mp4", dir.File("a.mp4"));
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false)) << file.error_text();
  EXPECT_FALSE(std::filesystem::is_empty(dir.File("folder"))) << "the hidden file is beside it";
  ASSERT_TRUE(file.WriteAt(0, "new", 3));
  ASSERT_TRUE(file.Commit(false)) << file.error_text();
  EXPECT_TRUE(std::filesystem::is_symlink(dir.File("a.mp4")));
  EXPECT_EQ(ReadFile(dir.File("folder/b.mp4")), "new");
}

TEST(OutputFileTest, FollowsALinkToAFileThatIsToBeReplaced) {
  TempDir dir;
  WriteFile(dir.File("b.mp4"), "old");
  std::filesystem::create_symlink(dir.File("b.mp4"), dir.File("a.mp4"));
  OutputFile file;
  EXPECT_FALSE(file.Open(dir.File("a.mp4"), false));
  EXPECT_EQ(file.error_text(), dir.File("a.mp4") + " already exists");
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), true)) << file.error_text();
  ASSERT_TRUE(file.WriteAt(0, "new", 3));
  ASSERT_TRUE(file.Commit(true)) << file.error_text();
  EXPECT_TRUE(std::filesystem::is_symlink(dir.File("a.mp4")));
  EXPECT_EQ(ReadFile(dir.File("b.mp4")), "new");
}

TEST(OutputFileTest, NeverReplacesALinkToWhatIsNoFile) {
  TempDir dir;
  ASSERT_EQ(mkfifo(dir.File("fifo").c_str(), 0600), 0);
  const std::string link = dir.File("a.mp4");
  for (const char* to : {"/dev/null", "fifo", "a.mp4"}) {
    std::filesystem::remove(link);
    std::filesystem::create_symlink(to, link);
    OutputFile file;
    EXPECT_FALSE(file.Open(link, true)) << to;
    EXPECT_EQ(file.error_text(),
              to == std::string("a.mp4")
                  ? "cannot create " + link + ": Too many levels of symbolic links"
                  : link + " is not a regular file");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
  }
}

TEST(OutputFileTest, NeverTakesTheFormerNameOfAnOpenFile) {
  TempDir dir;
  WriteFile(dir.File("gone"), "");
  const int descriptor = open(dir.File("gone").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(descriptor, 0);
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  std::filesystem::remove(dir.File("gone"));
  OutputFile file;
  EXPECT_FALSE(file.Open(link, true));
  EXPECT_EQ(file.error_text(), link + " is not a usable file name");
  EXPECT_THAT(Names(dir), IsEmpty());
  close(descriptor);
}

TEST(OutputFileTest, KeepsAFileThatAppearsMeanwhile) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  WriteFile(dir.File("a.mp4"), "mine");
  EXPECT_FALSE(file.Commit(true));
  EXPECT_EQ(file.error_text(), dir.File("a.mp4") + " was created in the meantime and is kept");
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "mine");
  EXPECT_THAT(Names(dir), ElementsAre("a.mp4"));
}

TEST(OutputFileTest, ReplacesAFileWhenAsked) {
  TempDir dir;
  WriteFile(dir.File("a.mp4"), "old");
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), true));
  ASSERT_TRUE(file.WriteAt(0, "new!", 4));
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "old");
  ASSERT_TRUE(file.Commit(false)) << file.error_text();
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "new!");
}

TEST(OutputFileTest, NeverReplacesWhatIsNoFile) {
  TempDir dir;
  OutputFile file;
  EXPECT_FALSE(file.Open("/dev/null", true));
  EXPECT_EQ(file.error_text(), "/dev/null is not a regular file");
  std::filesystem::create_directory(dir.File("folder"));
  EXPECT_FALSE(file.Open(dir.File("folder"), true));
  EXPECT_EQ(file.error_text(), dir.File("folder") + " is a folder");
  EXPECT_FALSE(file.Open(dir.path(), true));
  EXPECT_EQ(file.error_text(), "\"" + dir.path() + "\" is not a file name");
  EXPECT_FALSE(file.Open("", false));
  EXPECT_EQ(file.error_text(), "\"\" is not a file name");
}

TEST(OutputFileTest, SaysWhyItCannotBegin) {
  TempDir dir;
  OutputFile file;
  EXPECT_FALSE(file.Open(dir.File("missing/a.mp4"), false));
  EXPECT_EQ(file.error_text(),
            "cannot create a file in " + dir.File("missing/") + ": No such file or directory");
}

TEST(OutputFileTest, TakesTheLongestName) {
  TempDir dir;
  const std::string name(255, 'x');
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File(name), false)) << file.error_text();
  ASSERT_TRUE(file.Commit(false)) << file.error_text();
  EXPECT_THAT(Names(dir), ElementsAre(name));
  EXPECT_FALSE(file.Open(dir.File(name + 'x'), false));
  EXPECT_EQ(file.error_text(), "cannot create " + dir.File(name) + "x: File name too long");
}

// Blocks of the disk that the file occupies.
blkcnt_t Blocks(const std::string& path) {
  struct stat info;
  EXPECT_EQ(stat(path.c_str(), &info), 0);
  return info.st_blocks;
}

TEST(OutputFileTest, GivesBackWhatItReservedInVain) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  file.Reserve(10000000);
  const std::string hidden = dir.File(Names(dir).at(0));
  EXPECT_EQ(std::filesystem::file_size(hidden), 0u);
  ASSERT_TRUE(file.WriteAt(0, "text", 4));
  ASSERT_TRUE(file.Commit(true));
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "text");
  EXPECT_LT(Blocks(dir.File("a.mp4")), 1000);
}

TEST(OutputFileTest, ReservesNothingThatTheDiskDoesNotHave) {
  TempDir dir;
  OutputFile file;
  file.Reserve(1000);
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  file.Reserve(UINT64_MAX / 2);
  EXPECT_EQ(Blocks(dir.File(Names(dir).at(0))), 0);
  ASSERT_TRUE(file.Commit(false));
}

TEST(OutputFileTest, AFailedWriteIsTold) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  const std::string much(8192, 'x');
  {
    const kx_testing::ScopedFileSizeLimit limit(4096);
    EXPECT_FALSE(file.WriteAt(0, much.data(), much.size()));
  }
  EXPECT_EQ(file.error_number(), EFBIG);
  EXPECT_EQ(file.error_text(), "cannot write " + dir.File("a.mp4") + ": File too large");
}

TEST(OutputFileTest, CannotBeCommittedTwice) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  ASSERT_TRUE(file.Commit(false));
  EXPECT_FALSE(file.Commit(false));
  EXPECT_EQ(file.error_text(), "no file is open");
}

// A program that is killed while it writes.
TEST(OutputFileTest, RemovesWhatAKilledProgramLeft) {
  TempDir dir;
  const pid_t child = fork();
  if (child == 0) {
    OutputFile file;
    if (file.Open(dir.File("a.mp4"), false) && file.WriteAt(0, "half", 4)) kill(getpid(), SIGKILL);
    _exit(1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  ASSERT_EQ(Names(dir).size(), 1u);
  OutputFile other;
  ASSERT_TRUE(other.Open(dir.File("b.mp4"), false));
  EXPECT_EQ(Names(dir).size(), 2u) << "of another output";
  other.Discard();
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  EXPECT_EQ(Names(dir).size(), 1u);
  ASSERT_TRUE(file.Commit(true));
  EXPECT_THAT(Names(dir), ElementsAre("a.mp4"));
}

TEST(OutputFileTest, LeavesTheFileOfALivingProgram) {
  TempDir dir;
  OutputFile first;
  OutputFile second;
  ASSERT_TRUE(first.Open(dir.File("a.mp4"), true));
  ASSERT_TRUE(first.WriteAt(0, "first", 5));
  ASSERT_TRUE(second.Open(dir.File("a.mp4"), true));
  EXPECT_EQ(Names(dir).size(), 2u);
  ASSERT_TRUE(first.Commit(true));
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "first");
  ASSERT_TRUE(second.Commit(true));
  EXPECT_THAT(Names(dir), ElementsAre("a.mp4"));
}

TEST(OutputFileTest, EndsAtAnyTimeAndLeavesNothing) {
  TempDir dir;
  const std::string much(3 << 20, 'x');
  bool committed = false;
  int turns = 0;
  for (; !committed; ++turns) {
    int left = turns;
    OutputFile file;
    file.set_is_wanted([&left] { return left-- > 0; });
    ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
    committed = file.WriteAt(0, much.data(), much.size()) && file.Commit(true);
    EXPECT_EQ(file.error_text(), committed ? "" : "stopped; nothing is written");
    EXPECT_EQ(file.error_number(), committed ? 0 : ECANCELED);
    file.Discard();
    EXPECT_EQ(Names(dir).size(), committed ? 1u : 0u);
  }
  EXPECT_GT(turns, 5);
}

struct CommitFault {
  const char* name;
  kx_testing::FailingCall call;
  const char* error;
};

class OutputFileCommitTest : public ::testing::TestWithParam<CommitFault> {};

TEST_P(OutputFileCommitTest, TellsAFailureAndKeepsTheOlderFile) {
  TempDir dir;
  WriteFile(dir.File("a.mp4"), "old");
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), true));
  ASSERT_TRUE(file.WriteAt(0, "new", 3));
  bool committed = true;
  if (!kx_testing::RunWithFailingCall(GetParam().call, [&] { committed = file.Commit(true); })) {
    GTEST_SKIP() << "this system lets no call fail";
  }
  EXPECT_FALSE(committed);
  EXPECT_EQ(file.error_text(), GetParam().error + dir.File("a.mp4") + ": Input/output error");
  EXPECT_THAT(Names(dir), ElementsAre("a.mp4"));
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "old");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, OutputFileCommitTest,
    ::testing::Values(CommitFault{"Flush", {SYS_sync_file_range, EIO}, "cannot sync "},
                      CommitFault{"Sync", {SYS_fsync, EIO}, "cannot sync "},
                      CommitFault{"Close", {SYS_close, EIO}, "cannot close "},
                      CommitFault{
                          "Rename", {SYS_rename, EIO}, "cannot rename the finished file to "}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(OutputFileTest, SyncsOnAFileSystemThatCannotSyncInPieces) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  ASSERT_TRUE(file.WriteAt(0, "new", 3));
  bool committed = false;
  if (!kx_testing::RunWithFailingCall({SYS_sync_file_range, ENOSYS},
                                      [&] { committed = file.Commit(true); })) {
    GTEST_SKIP() << "this system lets no call fail";
  }
  EXPECT_TRUE(committed) << file.error_text();
  EXPECT_EQ(file.warning_text(), "");
}

TEST(OutputFileTest, AFolderThatCannotBeSyncedIsAWarning) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  ASSERT_TRUE(file.WriteAt(0, "new", 3));
  bool committed = false;
  if (!kx_testing::RunWithFailingCall({SYS_openat, EIO, 2, O_DIRECTORY},
                                      [&] { committed = file.Commit(true); })) {
    GTEST_SKIP() << "this system lets no call fail";
  }
  EXPECT_TRUE(committed);
  EXPECT_EQ(file.error_text(), "");
  EXPECT_EQ(file.warning_text(),
            dir.File("a.mp4") +
                " is complete, but a power failure may still remove it: cannot sync " + dir.path() +
                ": Input/output error");
  EXPECT_EQ(ReadFile(dir.File("a.mp4")), "new");
}

TEST(OutputFileTest, AFailedReadBackIsTold) {
  TempDir dir;
  OutputFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mp4"), false));
  ASSERT_TRUE(file.WriteAt(0, "new", 3));
  char byte = 0;
  bool read = true;
  if (!kx_testing::RunWithFailingCall({SYS_pread64, EIO},
                                      [&] { read = file.ReadAt(0, &byte, 1); })) {
    GTEST_SKIP() << "this system lets no call fail";
  }
  EXPECT_FALSE(read);
  EXPECT_EQ(file.error_text(), "cannot read back " + dir.File("a.mp4") + ": Input/output error");
}

}  // namespace
}  // namespace kxrtc_host
