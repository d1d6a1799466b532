#include "tools/kxrtc/stop_signals.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
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
  EXPECT_FALSE(IsBlocked(GetParam())) << "a second one must have its ordinary effect";
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

INSTANTIATE_TEST_SUITE_P(Signals, StopSignalsTest, ::testing::Values(SIGINT, SIGTERM),
                         [](const auto& param) { return param.param == SIGINT ? "Int" : "Term"; });

TEST(StopSignalsWakeTest, AnotherThreadEndsTheWait) {
  StopSignals signals;
  std::thread other([&] { signals.Wake(); });
  signals.Wait(kLong);
  other.join();
  EXPECT_EQ(signals.signal_number(), 0);
}

TEST(StopSignalsWakeTest, AWakeBeforeTheWaitCounts) {
  StopSignals signals;
  signals.Wake();
  signals.Wait(kLong);
  EXPECT_EQ(signals.signal_number(), 0);
}

TEST(StopSignalsWakeTest, TheMaskIsRestored) {
  {
    StopSignals signals;
    EXPECT_TRUE(IsBlocked(SIGINT));
  }
  EXPECT_FALSE(IsBlocked(SIGINT));
  EXPECT_FALSE(IsBlocked(SIGTERM));
}

}  // namespace
}  // namespace kxrtc_tool
