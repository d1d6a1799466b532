#include "kx_utility/stop_watch.h"

#include <gtest/gtest.h>

#include "kx_utility/thread.h"

namespace kx_utility {
namespace {

TEST(StopWatchTest, RunsFromConstruction) {
  StopWatch watch;
  Thread::Sleep(3);
  EXPECT_GE(watch.TimeInMicroseconds(), 3000);
  EXPECT_GE(watch.TimeInMilliseconds(), 3);
  EXPECT_GE(watch.TimeInNanoseconds(), 3000000);
  EXPECT_GE(watch.TimeInSecondsDouble(), 0.003);
  EXPECT_LT(watch.TimeInSeconds(), 60);
  EXPECT_EQ(0, watch.TimeInNanoseconds() % 1000);
}

TEST(StopWatchTest, StandsStillWhenStoppedButForTheSecondsAsDouble) {
  StopWatch watch;
  Thread::Sleep(20);
  watch.Stop();
  const int64_t elapsed = watch.TimeInMicroseconds();
  EXPECT_GE(elapsed, 20000);
  Thread::Sleep(5);
  EXPECT_EQ(elapsed, watch.TimeInMicroseconds());
  EXPECT_EQ(elapsed / 1000, watch.TimeInMilliseconds());
  // The time since Stop(), not the span.
  EXPECT_GE(watch.TimeInSecondsDouble(), 0.005);
  EXPECT_LT(watch.TimeInSecondsDouble() * 1e6, static_cast<double>(elapsed) + 1e7);
}

TEST(StopWatchTest, ResumeLeavesThePauseOut) {
  StopWatch watch;
  watch.Stop();
  Thread::Sleep(30);
  watch.Resume();
  const int64_t resumed = watch.TimeInMicroseconds();
  EXPECT_LT(resumed, 30000);
  Thread::Sleep(2);
  EXPECT_GE(watch.TimeInMicroseconds(), resumed + 2000);
}

// Each Resume() of a watch that runs moves its start: it shows long times without a wait for them.
TEST(StopWatchTest, ShowsLongTimesInEachUnit) {
  StopWatch watch;
  watch.Restart();
  Thread::Sleep(10);
  for (int i = 0; i < 100000; ++i) watch.Resume();
  watch.Stop();
  const int64_t elapsed = watch.TimeInMicroseconds();
  EXPECT_LT(elapsed, -100000 * int64_t{9000});
  EXPECT_EQ(elapsed * 1000, watch.TimeInNanoseconds());
  EXPECT_EQ(elapsed / 1000, watch.TimeInMilliseconds());
  EXPECT_EQ(elapsed / 1000000, watch.TimeInSeconds());
}

TEST(StopWatchTest, RestartBeginsAgain) {
  StopWatch watch;
  Thread::Sleep(30);
  watch.Stop();
  watch.Restart();
  EXPECT_LT(watch.TimeInMicroseconds(), 30000);
  Thread::Sleep(1);
  EXPECT_GE(watch.TimeInMicroseconds(), 1000);
}

TEST(WallClockTest, OfTheProcessRunsSinceTheLibraryWasLoaded) {
  const int64_t first = GetStaticWallClock().TimeInMilliseconds();
  Thread::Sleep(2);
  EXPECT_GE(GetStaticWallClock().TimeInMilliseconds(), first + 2);
  EXPECT_EQ(&GetStaticWallClock(), &GetStaticWallClock());
  EXPECT_LT(GetStaticWallClock().TimeInSeconds(), 3600);
}

TEST(HighResolutionStopWatchTest, StandsAtZeroUntilRestart) {
  HighResolutionStopWatch watch;
  Thread::Sleep(2);
  EXPECT_EQ(0, watch.TimeInNanoseconds());
  EXPECT_EQ(0, watch.TimeInSeconds());
}

// Without Restart() it counts from the start of the monotonic clock.
TEST(HighResolutionStopWatchTest, ShowsLongTimesInEachUnit) {
  HighResolutionStopWatch watch;
  watch.Stop();
  const int64_t elapsed = watch.TimeInNanoseconds();
  EXPECT_GT(elapsed, 0);
  EXPECT_EQ(elapsed / 1000, watch.TimeInMicroseconds());
  EXPECT_EQ(elapsed / 1000000, watch.TimeInMilliseconds());
  EXPECT_EQ(elapsed / 1000000000, watch.TimeInSeconds());
}

TEST(HighResolutionStopWatchTest, MeasuresInNanoseconds) {
  HighResolutionStopWatch watch;
  watch.Restart();
  Thread::Sleep(2);
  watch.Stop();
  const int64_t elapsed = watch.TimeInNanoseconds();
  EXPECT_GE(elapsed, 2000000);
  EXPECT_EQ(elapsed / 1000, watch.TimeInMicroseconds());
  EXPECT_EQ(elapsed / 1000000, watch.TimeInMilliseconds());
  EXPECT_EQ(elapsed / 1000000000, watch.TimeInSeconds());
  Thread::Sleep(3);
  EXPECT_EQ(elapsed, watch.TimeInNanoseconds());
  EXPECT_GE(watch.TimeInSecondsDouble(), 0.003);  // Since Stop().
  watch.Restart();
  EXPECT_LT(watch.TimeInSecondsDouble(), 60.0);
}

}  // namespace
}  // namespace kx_utility
