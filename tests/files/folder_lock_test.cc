#include "files/folder_lock.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using Result = FolderLock::Result;

TEST(FolderLockTest, KeepsAFolderForOneHolderAndLeavesNothingInIt) {
  const TempDir dir;
  FolderLock one;
  FolderLock other;
  EXPECT_FALSE(one.is_locked());
  EXPECT_EQ(one.Lock(dir.path()), Result::kLocked) << one.error();
  EXPECT_TRUE(one.is_locked());
  EXPECT_EQ(other.Lock(dir.path()), Result::kTaken);
  EXPECT_FALSE(other.is_locked());
  EXPECT_EQ(other.error(), "process " + std::to_string(getpid()));
  one.Unlock();
  EXPECT_EQ(other.Lock(dir.path()), Result::kLocked) << other.error();
  EXPECT_EQ(other.error(), "");
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(FolderLockTest, LocksTheFolderBehindALinkAndLeavesOthersFree) {
  const TempDir dir;
  std::filesystem::create_directory(dir.File("a"));
  std::filesystem::create_directory(dir.File("b"));
  std::filesystem::create_directory_symlink("a", dir.File("link"));
  FolderLock one;
  FolderLock other;
  ASSERT_EQ(one.Lock(dir.File("link")), Result::kLocked) << one.error();
  EXPECT_EQ(other.Lock(dir.File("b")), Result::kLocked) << other.error();
  EXPECT_EQ(other.Lock(dir.File("a/")), Result::kTaken);
}

TEST(FolderLockTest, DoesNotLockWhatIsNotAFolder) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("file"), "");
  FolderLock lock;
  EXPECT_EQ(lock.Lock(dir.File("file")), Result::kFailed);
  EXPECT_EQ(lock.error(), "Not a directory");
  EXPECT_EQ(lock.Lock(dir.File("missing")), Result::kFailed);
  EXPECT_EQ(lock.error(), "No such file or directory");
}

TEST(FolderLockTest, TheDeathOfTheHolderFreesTheFolder) {
  const TempDir dir;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    FolderLock lock;
    const char locked = lock.Lock(dir.path()) == Result::kLocked ? 1 : 0;
    if (write(ready[1], &locked, 1) != 1) _exit(1);
    for (;;) pause();
  }
  char locked = 0;
  ASSERT_EQ(read(ready[0], &locked, 1), 1);
  ASSERT_EQ(locked, 1);
  FolderLock lock;
  EXPECT_EQ(lock.Lock(dir.path()), Result::kTaken);
  EXPECT_EQ(lock.error(), "process " + std::to_string(child));
  kill(child, SIGKILL);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(lock.Lock(dir.path()), Result::kLocked) << lock.error();
  close(ready[0]);
  close(ready[1]);
}

}  // namespace
}  // namespace kxrtc_host
