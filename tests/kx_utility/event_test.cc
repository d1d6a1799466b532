#include "kx_utility/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace kx_utility {
namespace {

constexpr int kDeadlineMs = 10000;

TEST(EventTest, AutoResetSatisfiesOneWaitPerSet) {
  Event event(false, false);
  event.Set();
  event.Set();
  EXPECT_TRUE(event.Wait(0));
  EXPECT_FALSE(event.Wait(0));
}

TEST(EventTest, ManualResetStaysSignalledUntilReset) {
  Event event(true, false);
  event.Set();
  EXPECT_TRUE(event.Wait(0));
  EXPECT_TRUE(event.Wait(-1));
  event.Reset();
  EXPECT_FALSE(event.Wait(0));
}

TEST(EventTest, MayStartSignalled) {
  Event auto_reset(false, true);
  Event manual_reset(true, true);
  EXPECT_TRUE(auto_reset.Wait(0));
  EXPECT_FALSE(auto_reset.Wait(0));
  EXPECT_TRUE(manual_reset.Wait(0));
  EXPECT_TRUE(manual_reset.Wait(0));
}

TEST(EventTest, WaitEndsAtItsDeadlineAndLeavesTheEventAsItIs) {
  Event event(false, false);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(event.Wait(20));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
  event.Set();
  EXPECT_TRUE(event.Wait(0));
}

TEST(EventTest, ReleasesAWaiterOnAnotherThread) {
  for (int ms : {-1, kDeadlineMs}) {
    Event event(false, false);
    bool result = false;
    std::thread waiter([&] { result = event.Wait(ms); });
    event.Set();
    waiter.join();
    EXPECT_TRUE(result) << ms;
  }
}

TEST(EventTest, AutoResetReleasesOneWaiterPerSet) {
  Event event(false, false);
  std::atomic<int> released{0};
  auto wait = [&] {
    EXPECT_TRUE(event.Wait(kDeadlineMs));
    ++released;
  };
  std::thread first(wait), second(wait);
  event.Set();
  while (released < 1) std::this_thread::yield();
  EXPECT_EQ(1, released);
  event.Set();
  first.join();
  second.join();
  EXPECT_EQ(2, released);
}

TEST(LightEventTest, ReportsWhetherTheTimeRanOut) {
  LightEvent event;
  bool timed_out = false;
  // A wait may end early without a cause, so try until the time did run out.
  while (!timed_out) event.Wait(1, timed_out);
  EXPECT_TRUE(timed_out);
}

TEST(LightEventTest, WakesWaitersAndForgetsNotificationsThatNobodyWaitsFor) {
  LightEvent event;
  event.NotifyOne();
  std::atomic<int> awake{0};
  auto wait = [&](int ms) {
    bool timed_out = true;
    event.Wait(ms, timed_out);
    // Without a limit the flag is left alone.
    EXPECT_TRUE(ms != -1 || timed_out);
    ++awake;
  };
  std::thread first(wait, -1), second(wait, -1);
  while (awake < 2) {
    event.NotifyAll();
    event.NotifyOne();
    std::this_thread::yield();
  }
  first.join();
  second.join();
}

}  // namespace
}  // namespace kx_utility
