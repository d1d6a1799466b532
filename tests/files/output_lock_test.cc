#include "files/output_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "files/temporary_entry.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using Result = OutputLock::Result;

TEST(OutputLockTest, KeepsAnOutputForOneHolderAndLeavesNothing) {
  const TempDir dir;
  OutputLock one;
  OutputLock other;
  EXPECT_EQ(one.Lock(dir.File("out.mp4")), Result::kLocked);
  EXPECT_TRUE(std::filesystem::exists(dir.File(".out.mp4.lock")));
  EXPECT_TRUE(OutputLock::IsThere(dir.File("out.mp4")));
  EXPECT_FALSE(OutputLock::IsThere(dir.File("other.mp4")));
  EXPECT_EQ(other.Lock(dir.File("out.mp4")), Result::kTaken);
  EXPECT_EQ(other.holder(), "process " + std::to_string(getpid()));
  EXPECT_EQ(other.Lock(dir.File("other.mp4")), Result::kLocked);
  one.Unlock();
  EXPECT_EQ(other.Lock(dir.File("out.mp4")), Result::kLocked);
  other.Unlock();
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(OutputLockTest, AllNamesOfAnOutputHaveOneLock) {
  const TempDir dir;
  std::filesystem::create_symlink("out.mp4", dir.File("link.mp4"));
  OutputLock one;
  OutputLock other;
  ASSERT_EQ(one.Lock(dir.File("link.mp4")), Result::kLocked);
  EXPECT_EQ(other.Lock(dir.File("out.mp4")), Result::kTaken);
  EXPECT_EQ(other.Lock(dir.path() + "./out.mp4"), Result::kTaken);
}

TEST(OutputLockTest, LongNamesThatBeginAlikeHaveTheirOwn) {
  const TempDir dir;
  const std::string begin(TemporaryEntry::kMaxNamePart, 'x');
  OutputLock one;
  OutputLock other;
  EXPECT_EQ(one.Lock(dir.File(begin + std::string(55, 'a'))), Result::kLocked);
  EXPECT_EQ(other.Lock(dir.File(begin + std::string(55, 'b'))), Result::kLocked);
  EXPECT_EQ(other.Lock(dir.File(begin + std::string(55, 'a'))), Result::kTaken);
  EXPECT_EQ(other.Lock(dir.File(begin)), Result::kLocked);
}

TEST(OutputLockTest, ThereMayBeNone) {
  const TempDir dir;
  OutputLock lock;
  EXPECT_EQ(lock.Lock(dir.File("missing/out.mp4")), Result::kNone);
  // What stands under the name of the lock and is no lock stays.
  std::filesystem::create_directory(dir.File(".folder.lock"));
  EXPECT_EQ(lock.Lock(dir.File("folder")), Result::kNone);
  ASSERT_EQ(mkfifo(dir.File(".fifo.lock").c_str(), 0600), 0);
  EXPECT_EQ(lock.Lock(dir.File("fifo")), Result::kNone);
  std::filesystem::create_symlink("elsewhere", dir.File(".link.lock"));
  EXPECT_EQ(lock.Lock(dir.File("link")), Result::kNone);
  EXPECT_FALSE(std::filesystem::exists(dir.File("elsewhere")));
  EXPECT_EQ(lock.Lock(dir.File(std::string(250, 'x'))), Result::kLocked);
}

TEST(OutputLockTest, OneThatCanOnlyBeReadIsOneToo) {
  const TempDir dir;
  OutputLock one;
  OutputLock other;
  ASSERT_EQ(one.Lock(dir.File("out.mp4")), Result::kLocked);
  Result taken = Result::kNone;
  Result left_over = Result::kNone;
  Result missing = Result::kLocked;
  const auto body = [&] {
    taken = other.Lock(dir.File("out.mp4"));
    kx_testing::WriteFile(dir.File(".left.mp4.lock"), "");
    left_over = other.Lock(dir.File("left.mp4"));
    missing = other.Lock(dir.File("missing.mp4"));
  };
  if (!kx_testing::RunWithFailingCall({SYS_openat, EACCES, 2, O_RDWR}, body)) {
    GTEST_SKIP() << "this system lets no call fail";
  }
  EXPECT_EQ(taken, Result::kTaken);
  EXPECT_EQ(left_over, Result::kLocked);
  EXPECT_EQ(missing, Result::kNone);
}

TEST(OutputLockTest, TheDeathOfTheHolderFreesIt) {
  const TempDir dir;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    OutputLock lock;
    const char result = lock.Lock(dir.File("out.mp4")) == Result::kLocked ? 'y' : 'n';
    (void)!write(ready[1], &result, 1);
    for (;;) pause();
  }
  char result = 0;
  ASSERT_EQ(read(ready[0], &result, 1), 1);
  EXPECT_EQ(result, 'y');
  OutputLock lock;
  EXPECT_EQ(lock.Lock(dir.File("out.mp4")), Result::kTaken);
  EXPECT_EQ(lock.holder(), "process " + std::to_string(child));
  ASSERT_EQ(kill(child, SIGKILL), 0);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_TRUE(std::filesystem::exists(dir.File(".out.mp4.lock")));
  EXPECT_EQ(lock.Lock(dir.File("out.mp4")), Result::kLocked);
  lock.Unlock();
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  close(ready[0]);
  close(ready[1]);
}

TEST(OutputLockTest, NeverHasTwoHolders) {
  constexpr int kThreads = 4;
  constexpr int kTurns = 20;
  const TempDir dir;
  std::atomic<int> holders{0};
  std::atomic<int> most{0};
  std::atomic<int> turns{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      Result result = Result::kTaken;
      for (int turn = 0; turn < kTurns && result != Result::kNone;) {
        OutputLock lock;
        result = lock.Lock(dir.File("out.mp4"));
        if (result != Result::kLocked) continue;
        const int now = holders.fetch_add(1) + 1;
        if (now > most.load()) most = now;
        ++turn;
        ++turns;
        std::this_thread::yield();
        holders.fetch_sub(1);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(most.load(), 1);
  EXPECT_EQ(turns.load(), kThreads * kTurns);
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

}  // namespace
}  // namespace kxrtc_host
