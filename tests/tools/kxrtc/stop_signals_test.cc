#include "tools/kxrtc/stop_signals.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>

namespace kxrtc_tool {
namespace {

constexpr std::chrono::milliseconds kLong(60000);

bool IsBlocked(int signal_number) {
  sigset_t set;
  pthread_sigmask(SIG_BLOCK, nullptr, &set);
  return sigismember(&set, signal_number) == 1;
}

class StopSignalsTest : public ::testing::TestWithParam<int> {};

TEST_P(StopSignalsTest, ASignalEndsTheWait) {
  StopSignals signals;
  EXPECT_EQ(signals.signal_number(), 0);
  kill(getpid(), GetParam());
  signals.Wait(kLong);
  EXPECT_EQ(signals.signal_number(), GetParam());
  EXPECT_FALSE(IsBlocked(GetParam())) << "a second one must be able to end the program";
}

// Terminals, shells and timeout(1) do this.
TEST_P(StopSignalsTest, TheSameSignalOnceMoreHasNoEffect) {
  {
    StopSignals signals;
    kill(getpid(), GetParam());
    EXPECT_TRUE(signals.IsStopped());
    kill(getpid(), GetParam());
    kill(getpid(), SIGTERM);
  }
  struct sigaction action = {};
  sigaction(GetParam(), nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL) << "this is restored";
}

TEST_P(StopSignalsTest, ALookFindsASignalWithoutWaiting) {
  StopSignals signals;
  EXPECT_FALSE(signals.IsStopped());
  kill(getpid(), GetParam());
  EXPECT_TRUE(signals.IsStopped());
  EXPECT_TRUE(signals.IsStopped()) << "it stays so";
  EXPECT_EQ(signals.exit_status(), 128 + GetParam());
}

TEST_P(StopSignalsTest, ASignalThatComesTooLateIsDropped) {
  {
    StopSignals signals;
    kill(getpid(), GetParam());
  }
  EXPECT_FALSE(IsBlocked(GetParam())) << "and this program still runs";
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignalsTest,
                         ::testing::Values(SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2,
                                           SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU, SIGPOLL, SIGPWR,
                                           SIGSTKFLT, SIGRTMIN, SIGRTMAX),
                         [](const auto& param) { return "Signal" + std::to_string(param.param); });

TEST(StopSetTest, LeavesOutWhatEndsABrokenProgram) {
  for (int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGKILL, SIGSTOP,
                     SIGTSTP, SIGCONT, SIGCHLD, SIGWINCH, SIGPIPE, SIGXFSZ}) {
    EXPECT_EQ(sigismember(&StopSet(), number), 0) << number;
  }
}

TEST(StopSignalsOrderTest, AnotherThreadEndsTheWait) {
  StopSignals signals;
  std::thread other([&] { signals.Wake(); });
  signals.Wait(kLong);
  other.join();
  EXPECT_EQ(signals.signal_number(), 0);
}

TEST(StopSignalsOrderTest, AWakeBeforeTheWaitCounts) {
  StopSignals signals;
  signals.Wake();
  signals.Wait(kLong);
  EXPECT_EQ(signals.signal_number(), 0);
}

TEST(StopSignalsOrderTest, ASecondSignalEndsAProgramThatDoesNotStop) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    StopSignals signals;
    kill(getpid(), SIGTERM);
    signals.Wait(kLong);
    for (;; usleep(1000)) kill(getpid(), SIGINT);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
}

TEST(StopSignalsOrderTest, TheMaskIsRestored) {
  {
    StopSignals signals;
    EXPECT_TRUE(IsBlocked(SIGINT));
  }
  EXPECT_FALSE(IsBlocked(SIGINT));
  EXPECT_FALSE(IsBlocked(SIGTERM));
}

}  // namespace
}  // namespace kxrtc_tool
