// What the headers promise to threads that call at once. Each promise is kept when every thread
// gets the result that one alone gets, and the thread sanitizer is silent.
#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/BaseUtility.h"
#include "kx_utility/event.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/fileutils.h"
#include "kx_utility/logging.h"
#include "kx_utility/stop_watch.h"
#include "kx_utility/string_tokenize.h"
#include "kx_utility/stringencode.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/run_on_threads.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::RunOnThreads;
using ::testing::ElementsAre;

constexpr int kThreads = 4;
constexpr int kTurns = 300;

// A sink that only counts.
class CountingSink : public LogSink {
 public:
  void OnLogMessage(const char* message, LoggingSeverity) override {
    EXPECT_NE(std::string(message).find("]turn "), std::string::npos);
    ++count;
  }
  void SetDumpScopeLog(bool) override {}

  std::atomic<int> count{0};
};

TEST(KxUtilityConcurrencyTest, SinkAndThresholdChangeWhileThreadsLog) {
  CountingSink first;
  CountingSink second;
  LogMessage::AddLogSink(&first);
  std::atomic<bool> done{false};
  std::thread control([&] {
    for (int i = 0; !done.load(); ++i) {
      LogMessage::AddLogSink(i % 2 == 0 ? &second : &first);
      LogMessage::LogToDebug(i % 2 == 0 ? LS_NONE : LS_FORCED_INFO);
      LogMessage::DumpScopeLog(i % 2 == 0);
    }
  });
  RunOnThreads(kThreads, [] {
    for (int i = 0; i < kTurns; ++i) LogMessage("f.cc", "Turn", 1, LS_INFO) << "turn " << i;
  });
  done = true;
  control.join();
  LogMessage::AddLogSink(nullptr);
  LogMessage::LogToDebug(LS_NONE);
  EXPECT_EQ(first.count + second.count, kThreads * kTurns);
}

template <typename Watch>
void ReadBesideChanges() {
  Watch watch;
  std::atomic<bool> done{false};
  std::thread control([&] {
    while (!done.load()) {
      watch.Restart();
      watch.Stop();
    }
  });
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns; ++i) {
      // Of its value only the size can be told: nothing here lasts a minute.
      EXPECT_LT(std::abs(watch.TimeInNanoseconds()), 60'000'000'000) << i;
      EXPECT_LT(std::abs(watch.TimeInMilliseconds()), 60'000) << i;
    }
  });
  done = true;
  control.join();
}

TEST(KxUtilityConcurrencyTest, StopWatchesAreReadBesideChanges) {
  ReadBesideChanges<StopWatch>();
  ReadBesideChanges<HighResolutionStopWatch>();
}

TEST(KxUtilityConcurrencyTest, AnEventWakesNoMoreWaitersThanItWasSet) {
  Event event(false, false);
  std::atomic<int> sets{0};
  std::atomic<int> woken{0};
  std::atomic<bool> done{false};
  std::thread control([&] {
    while (!done.load()) {
      ++sets;
      event.Set();
      std::this_thread::yield();
    }
  });
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns; ++i) {
      ASSERT_TRUE(event.Wait(20000));
      ++woken;
    }
  });
  done = true;
  control.join();
  EXPECT_EQ(woken, kThreads * kTurns);
  EXPECT_LE(woken, sets);
}

TEST(KxUtilityConcurrencyTest, StatelessFunctionsGiveEachThreadItsResult) {
  const kx_testing::TempDir dir;
  kx_testing::WriteFile(dir.File("a"), "12345");
  const std::string folder = WorkingDir();
  const int here = 0;
  kx_testing::ScopedLogCapture log;
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns / 10; ++i) {
      EXPECT_EQ(hex_encode(std::string("\x01\xAB")), "01ab");
      EXPECT_THAT(StringTokenize("a,b", ","), ElementsAre("a", "b"));
      EXPECT_TRUE(check_pointers(2, &here, &folder));
      EXPECT_EQ(WorkingDir(), folder);
      EXPECT_EQ(GetFileSize(dir.File("a")), 5u);
      EXPECT_THAT(ReadDirectory(dir.path()), ElementsAre(dir.File("a")));
      EXPECT_FALSE(Failed("turn"));
      EXPECT_GE(GetStaticWallClock().TimeInMilliseconds(), 0);
    }
  });
  EXPECT_EQ(log.lines(), std::vector<std::string>(kThreads * (kTurns / 10), "ERROR turn"));
}

}  // namespace
}  // namespace kx_utility
