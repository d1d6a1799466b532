#include "kx_utility/thread.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "kx_utility/event.h"

namespace kx_utility {
namespace {

constexpr int kDeadlineMs = 10000;

// Runs until it is stopped.
class Waiter : public Runnable {
 public:
  void Run(Thread* thread) override {
    ran_on = thread;
    thread_id = Thread::CurrentThreadId();
    started.Set();
    EXPECT_TRUE(stopped.Wait(kDeadlineMs));
    ++runs;
  }
  void Stop() override { stopped.Set(); }

  Event started{false, false};
  Event stopped{false, false};
  Thread* ran_on = nullptr;
  uint32_t thread_id = 0;
  int runs = 0;
};

// Returns at once.
class Quick : public Runnable {
 public:
  void Run(Thread*) override { ran.Set(); }
  void Stop() override { ++stops; }

  Event ran{false, false};
  int stops = 0;
};

TEST(ThreadTest, RunsTheRunnableAndJoinsItOnStop) {
  Waiter waiter;
  Thread thread;
  EXPECT_FALSE(thread.IsRunning());
  ASSERT_TRUE(thread.Start(&waiter));
  EXPECT_TRUE(thread.IsRunning());
  ASSERT_TRUE(waiter.started.Wait(kDeadlineMs));
  EXPECT_EQ(&thread, waiter.ran_on);
  EXPECT_NE(Thread::CurrentThreadId(), waiter.thread_id);
  thread.Stop();
  EXPECT_EQ(1, waiter.runs);
  EXPECT_FALSE(thread.IsRunning());
}

TEST(ThreadTest, RefusesASecondStartWhileRunning) {
  Waiter waiter;
  Quick second;
  Thread thread;
  ASSERT_TRUE(thread.Start(&waiter));
  EXPECT_FALSE(thread.Start(&second));
  thread.Stop();
  EXPECT_EQ(1, waiter.runs);
  EXPECT_FALSE(second.ran.Wait(0));
  EXPECT_EQ(0, second.stops);
}

TEST(ThreadTest, MayBeStartedAgain) {
  Waiter waiter;
  Thread thread;
  for (int run = 1; run <= 3; ++run) {
    ASSERT_TRUE(thread.Start(&waiter));
    thread.Stop();
    EXPECT_EQ(run, waiter.runs);
  }
}

TEST(ThreadTest, MayBeStartedAgainAfterItEndedByItself) {
  Quick quick;
  Thread thread;
  for (int run = 0; run < 3; ++run) {
    ASSERT_TRUE(thread.Start(&quick));
    ASSERT_TRUE(quick.ran.Wait(kDeadlineMs));
    while (thread.IsRunning()) Thread::TryYield();
  }
  thread.Stop();
  EXPECT_EQ(1, quick.stops);
}

TEST(ThreadTest, StopIsHarmlessWithoutAStartAndTwice) {
  Quick quick;
  Thread thread;
  thread.Stop();
  ASSERT_TRUE(thread.Start(&quick));
  thread.Stop();
  thread.Stop();
  EXPECT_EQ(1, quick.stops);
}

TEST(ThreadTest, DestructionStops) {
  Waiter waiter;
  {
    Thread thread;
    ASSERT_TRUE(thread.Start(&waiter));
  }
  EXPECT_EQ(1, waiter.runs);
}

TEST(ThreadTest, StopFromTwoThreadsAtOnceStopsOnce) {
  Waiter waiter;
  Thread thread;
  ASSERT_TRUE(thread.Start(&waiter));
  std::thread other([&thread] { thread.Stop(); });
  thread.Stop();
  other.join();
  EXPECT_FALSE(thread.IsRunning());
  EXPECT_EQ(1, waiter.runs);
}

TEST(ThreadTest, TakesAnyName) {
  Thread thread;
  EXPECT_TRUE(thread.SetName("worker"));
  EXPECT_TRUE(thread.SetName(""));
}

TEST(ThreadTest, SleepsAtLeastTheGivenTime) {
  const auto start = std::chrono::steady_clock::now();
  Thread::Sleep(0);
  Thread::Sleep(5);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5));
}

TEST(ThreadTest, IdIsThatOfTheStandardLibrarysHash) {
  EXPECT_EQ(static_cast<uint32_t>(std::hash<std::thread::id>()(std::this_thread::get_id())),
            Thread::CurrentThreadId());
}

}  // namespace
}  // namespace kx_utility
