#include "kx_utility/mpmc_bounded_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace kx_utility {
namespace {

TEST(MpmcBoundedQueueTest, HandsItemsOutInOrder) {
  mpmc_bounded_queue<int> queue(4);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(queue.enqueue(int{i}));
  EXPECT_EQ(3u, queue.size());
  for (int i = 0; i < 3; ++i) {
    int item = -1;
    EXPECT_TRUE(queue.dequeue(item));
    EXPECT_EQ(i, item);
  }
  EXPECT_EQ(0u, queue.size());
}

TEST(MpmcBoundedQueueTest, RefusesWhenFullOrEmptyWithoutTouchingTheItem) {
  mpmc_bounded_queue<std::unique_ptr<int>> queue(2);
  std::unique_ptr<int> out = std::make_unique<int>(9);
  EXPECT_FALSE(queue.dequeue(out));
  EXPECT_EQ(9, *out);
  EXPECT_TRUE(queue.enqueue(std::make_unique<int>(1)));
  EXPECT_TRUE(queue.enqueue(std::make_unique<int>(2)));
  auto third = std::make_unique<int>(3);
  EXPECT_FALSE(queue.enqueue(std::move(third)));
  EXPECT_EQ(3, *third);
  EXPECT_EQ(2u, queue.size());
  EXPECT_TRUE(queue.dequeue(out));
  EXPECT_EQ(1, *out);
  EXPECT_TRUE(queue.enqueue(std::move(third)));
}

TEST(MpmcBoundedQueueTest, GoesRoundManyTimes) {
  mpmc_bounded_queue<int> queue(2);
  ASSERT_TRUE(queue.enqueue(0));
  for (int i = 1; i < 1000; ++i) {
    int item = -1;
    ASSERT_TRUE(queue.enqueue(int{i}));
    ASSERT_FALSE(queue.enqueue(-1));
    ASSERT_TRUE(queue.dequeue(item));
    ASSERT_EQ(i - 1, item);
  }
}

TEST(MpmcBoundedQueueTest, KeepsEachItemOnceAmongManyThreads) {
  constexpr int kProducers = 3, kConsumers = 3, kEach = 20000;
  mpmc_bounded_queue<int> queue(64);
  std::vector<std::atomic<int>> seen(kProducers * kEach);
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 0; i < kEach; ++i) {
        while (!queue.enqueue(p * kEach + i)) std::this_thread::yield();
      }
    });
  }
  for (int c = 0; c < kConsumers; ++c) {
    threads.emplace_back([&] {
      std::vector<int> last(kProducers, -1);
      while (taken < kProducers * kEach) {
        int item = 0;
        if (!queue.dequeue(item)) {
          std::this_thread::yield();
          continue;
        }
        ++taken;
        ++seen[item];
        EXPECT_LT(last[item / kEach], item);  // One producer's items come in its order.
        last[item / kEach] = item;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](const auto& count) { return count == 1; }));
  EXPECT_EQ(0u, queue.size());
}

}  // namespace
}  // namespace kx_utility
