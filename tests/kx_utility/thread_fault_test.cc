// What remains of a start for which the system has no memory or no thread.
#include <gmock/gmock.h>

#include "kx_utility/event.h"
#include "kx_utility/thread.h"
#include "tests/testing/fault_injection.h"

namespace kx_utility {
namespace {

using ::kx_testing::FaultRun;
using ::kx_testing::kThreadStartFaults;
using ::kx_testing::RunWithFault;
using ::kx_testing::ThreadStartFault;
using ::testing::StartsWith;

constexpr int kDeadlineMs = 10000;

class Quick : public Runnable {
 public:
  void Run(Thread*) override { ran.Set(); }
  void Stop() override { ++stops; }

  Event ran{false, false};
  int stops = 0;
};

class ThreadFaultTest : public ::testing::TestWithParam<ThreadStartFault> {};

TEST_P(ThreadFaultTest, AFailedStartLeavesAThreadThatNeverRanAsItWas) {
  FaultRun run;
  int nth = 1;
  for (;; ++nth) {
    Quick quick;
    Thread thread;
    run = RunWithFault(GetParam().fault, nth, [&] { EXPECT_TRUE(thread.Start(&quick)); });
    if (!run.failed) break;
    EXPECT_THAT(run.thrown, StartsWith(GetParam().thrown)) << nth;
    EXPECT_FALSE(thread.IsRunning());
    thread.Stop();
    EXPECT_EQ(0, quick.stops) << "the runnable is forgotten";
    EXPECT_TRUE(thread.Start(&quick));
    EXPECT_TRUE(quick.ran.Wait(kDeadlineMs));
  }
  EXPECT_GT(nth, 1);
  EXPECT_EQ("", run.thrown);
}

TEST_P(ThreadFaultTest, AFailedStartLeavesAThreadThatEndedByItselfAsItWas) {
  FaultRun run;
  for (int nth = 1;; ++nth) {
    Quick first;
    Quick second;
    Thread thread;
    ASSERT_TRUE(thread.Start(&first));
    while (thread.IsRunning()) Thread::TryYield();
    run = RunWithFault(GetParam().fault, nth, [&] { EXPECT_TRUE(thread.Start(&second)); });
    if (!run.failed) break;
    EXPECT_THAT(run.thrown, StartsWith(GetParam().thrown)) << nth;
    EXPECT_FALSE(thread.IsRunning());
    thread.Stop();
    EXPECT_EQ(1, first.stops);
    EXPECT_EQ(0, second.stops);
  }
  EXPECT_EQ("", run.thrown);
}

TEST_P(ThreadFaultTest, NothingElseNeedsTheSystem) {
  Quick quick;
  Thread thread;
  ASSERT_TRUE(thread.Start(&quick));
  const FaultRun run = RunWithFault(GetParam().fault, 1, [&] {
    (void)thread.IsRunning();
    EXPECT_TRUE(thread.SetName("a name that is too long for the place in a string object"));
    Thread::Sleep(1);
    Thread::TryYield();
    (void)Thread::CurrentThreadId();
    thread.Stop();
  });
  EXPECT_FALSE(run.failed);
}

INSTANTIATE_TEST_SUITE_P(Faults, ThreadFaultTest, ::testing::ValuesIn(kThreadStartFaults),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kx_utility
