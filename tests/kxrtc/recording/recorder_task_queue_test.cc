#include "kxrtc/recording/recorder_task_queue.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <new>
#include <thread>
#include <vector>

#include "kx_utility/event.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::kDeadlineMs;
using ::kx_testing::ScopedLogCapture;
using ::kx_utility::Event;

constexpr int kQueueCapacity = 4096;
constexpr int kProducers = 3;

// Work that notes its number.
class TaskQueueTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(queue_.Initialize()); }

  void Push(int number) {
    queue_.Push([this, number] {
      done_.push_back(number);
      return true;
    });
  }

  // Each producer p has pushed p * `each` and so on, `each` numbers.
  void ExpectTheOrderOfEachProducer(int each) {
    queue_.Finalize();
    ASSERT_EQ(static_cast<size_t>(kProducers * each), done_.size());
    std::array<int, kProducers> next = {};
    for (const int number : done_) {
      ASSERT_EQ(next.at(static_cast<size_t>(number / each))++, number % each);
    }
  }

  RecorderTaskQueue queue_;
  std::vector<int> done_;  // Of the task thread until Finalize() returns.
};

TEST_F(TaskQueueTest, RunsEverythingInOrderBeforeItEnds) {
  std::vector<int> expected;
  for (int i = 0; i < 3 * kQueueCapacity; ++i) {
    Push(i);
    expected.push_back(i);
  }
  queue_.Finalize();
  EXPECT_EQ(expected, done_);
  EXPECT_EQ(0U, queue_.QueuedTasks());
}

TEST_F(TaskQueueTest, StartsAgain) {
  Push(1);
  queue_.Finalize();
  queue_.Finalize();
  ASSERT_TRUE(queue_.Initialize());
  Push(2);
  queue_.Finalize();
  EXPECT_THAT(done_, testing::ElementsAre(1, 2));
}

TEST_F(TaskQueueTest, LetsATaskPushMoreThanThereIsRoomFor) {
  std::vector<int> expected;
  for (int i = 0; i < kQueueCapacity + 500; ++i) expected.push_back(i);
  Event pushed(true, false);
  queue_.Push([&] {
    for (const int number : expected) Push(number);
    pushed.Set();
    return true;
  });
  ASSERT_TRUE(pushed.Wait(kDeadlineMs));
  queue_.Finalize();
  EXPECT_EQ(expected, done_);
}

TEST_F(TaskQueueTest, LogsWorkThatFindsNoMemoryAndGoesOn) {
  const ScopedLogCapture log;
  queue_.Push([]() -> bool { throw std::bad_alloc(); });
  Push(1);
  queue_.Finalize();
  EXPECT_THAT(done_, testing::ElementsAre(1));
  EXPECT_THAT(log.lines(), testing::ElementsAre("ERROR out of memory"));
}

// A task of another queue has no claim here: it waits as anybody does.
TEST_F(TaskQueueTest, MakesATaskOfAnotherQueueWaitForRoom) {
  Event inside(true, false);
  Event released(true, false);
  queue_.Push([&] {
    inside.Set();
    return released.Wait(kDeadlineMs);
  });
  ASSERT_TRUE(inside.Wait(kDeadlineMs));
  for (int i = 0; i < kQueueCapacity; ++i) Push(i);
  RecorderTaskQueue other;
  ASSERT_TRUE(other.Initialize());
  Event pushing(true, false);
  other.Push([&] {
    pushing.Set();
    Push(kQueueCapacity);
    return true;
  });
  ASSERT_TRUE(pushing.Wait(kDeadlineMs));
  EXPECT_EQ(uint32_t{kQueueCapacity}, queue_.QueuedTasks());
  released.Set();
  other.Finalize();
  queue_.Finalize();
  EXPECT_EQ(size_t{kQueueCapacity} + 1, done_.size());
}

// Producers that overrun the queue while calls into the host come and go.
TEST_F(TaskQueueTest, KeepsTheOrderOfEachProducerWhateverTheTaskThreadDoes) {
  constexpr int kEach = 30000;
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([this, producer] {
      for (int i = 0; i < kEach; ++i) {
        Push(producer * kEach + i);
        if (i % 1000 != 0) continue;
        queue_.Push([this] {
          const RecorderTaskQueue::HostCall call(&queue_);
          for (int turn = 0; turn < 100; ++turn) std::this_thread::yield();
          return true;
        });
      }
    });
  }
  for (std::thread& producer : producers) producer.join();
  ExpectTheOrderOfEachProducer(kEach);
}

// Calls into the host that each wait for more pushes than there is room for.
TEST_F(TaskQueueTest, LetsProducersGoOnWhileTheHostWaitsForThem) {
  constexpr int kEach = 40000;
  constexpr int kAwaited = 2 * kQueueCapacity;
  std::array<std::atomic<int>, kProducers> pushed = {};
  std::array<std::thread, kProducers> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.at(producer) = std::thread([&, producer] {
      for (int i = 0; i < kEach; ++i) {
        Push(producer * kEach + i);
        pushed.at(producer).store(i + 1, std::memory_order_relaxed);
        if (i % 5000 != 0) continue;
        queue_.Push([&, producer] {
          const RecorderTaskQueue::HostCall call(&queue_);
          std::atomic<int>& count = pushed.at(producer);
          const int goal = std::min(kEach, count.load(std::memory_order_relaxed) + kAwaited);
          while (count.load(std::memory_order_relaxed) < goal) std::this_thread::yield();
          return true;
        });
      }
    });
  }
  for (std::thread& producer : producers) producer.join();
  ExpectTheOrderOfEachProducer(kEach);
}

}  // namespace
}  // namespace kxrtc
