#include "kx_utility/mpmc_bounded_queue.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kx_utility {
namespace {

using ::testing::Each;

TEST(MpmcBoundedQueueTest, GivesItemsBackInOrder) {
  mpmc_bounded_queue<int> queue(4);
  EXPECT_EQ(4u, queue.capacity());
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(queue.enqueue(int{i}));
  EXPECT_EQ(3u, queue.size());
  for (int i = 0; i < 3; ++i) {
    int item = -1;
    EXPECT_TRUE(queue.dequeue(item));
    EXPECT_EQ(i, item);
  }
  EXPECT_EQ(0u, queue.size());
}

TEST(MpmcBoundedQueueTest, LeavesTheItemAloneWhenFullOrEmpty) {
  mpmc_bounded_queue<std::string> queue(2);
  std::string item = "kept";
  EXPECT_FALSE(queue.dequeue(item));
  EXPECT_EQ("kept", item);
  EXPECT_TRUE(queue.enqueue("a"));
  EXPECT_TRUE(queue.enqueue("b"));
  EXPECT_FALSE(queue.enqueue(std::move(item)));
  EXPECT_EQ("kept", item);
  EXPECT_EQ(2u, queue.size());
  EXPECT_TRUE(queue.dequeue(item));
  EXPECT_EQ("a", item);
  EXPECT_TRUE(queue.enqueue("c"));
  EXPECT_TRUE(queue.dequeue(item));
  EXPECT_EQ("b", item);
}

TEST(MpmcBoundedQueueTest, CarriesItemsThatOnlyMove) {
  mpmc_bounded_queue<std::unique_ptr<int>> queue(2);
  EXPECT_TRUE(queue.enqueue(std::make_unique<int>(7)));
  std::unique_ptr<int> item;
  EXPECT_TRUE(queue.dequeue(item));
  EXPECT_EQ(7, *item);
}

TEST(MpmcBoundedQueueTest, DestroysWhatIsStillQueued) {
  const auto item = std::make_shared<int>(1);
  {
    mpmc_bounded_queue<std::shared_ptr<int>> queue(2);
    EXPECT_TRUE(queue.enqueue(std::shared_ptr<int>(item)));
    EXPECT_EQ(2, item.use_count());
  }
  EXPECT_EQ(1, item.use_count());
}

TEST(MpmcBoundedQueueTest, KeepsTheTwoPositionsAndTheCellsOnCacheLinesOfTheirOwn) {
  EXPECT_EQ(4u * 64, sizeof(mpmc_bounded_queue<int>));
  EXPECT_EQ(64u, alignof(mpmc_bounded_queue<int>));
}

class QueueCapacityDeathTest : public ::testing::TestWithParam<uint32_t> {};

TEST_P(QueueCapacityDeathTest, Aborts) { EXPECT_DEATH(mpmc_bounded_queue<int>{GetParam()}, ""); }

INSTANTIATE_TEST_SUITE_P(Capacities, QueueCapacityDeathTest, ::testing::Values(0, 1, 3, 6, 4095),
                         ::testing::PrintToStringParamName());

// Close to the place where the 32-bit positions start over.
constexpr uint32_t kLatePosition = 0u - 8;

TEST(MpmcBoundedQueueTest, KeepsOrderAndNeverBlocksWherePositionsStartOver) {
  constexpr int kCapacity = 4;
  for (int ahead = 0; ahead <= kCapacity; ++ahead) {
    mpmc_bounded_queue<int> queue(kCapacity, kLatePosition);
    int next_in = 0;
    int next_out = 0;
    while (next_in < ahead) EXPECT_TRUE(queue.enqueue(int{next_in++}));
    for (int step = 0; step < 4 * kCapacity; ++step) {
      int item = -1;
      if (ahead == kCapacity) {
        EXPECT_FALSE(queue.enqueue(99)) << "full, step " << step;
      } else {
        EXPECT_TRUE(queue.enqueue(int{next_in++}));
      }
      ASSERT_TRUE(queue.dequeue(item));
      ASSERT_EQ(next_out++, item);
      if (ahead == 0) {
        EXPECT_FALSE(queue.dequeue(item)) << "empty, step " << step;
      }
      if (ahead == kCapacity) {
        EXPECT_TRUE(queue.enqueue(int{next_in++}));
      }
    }
  }
}

TEST(MpmcBoundedQueueTest, CountsItemsByUnsignedComparisonAlsoWherePositionsStartOver) {
  mpmc_bounded_queue<int> queue(4, 0u - 4);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(queue.enqueue(int{i}));
  EXPECT_EQ(3u, queue.size());
  EXPECT_TRUE(queue.enqueue(3));
  EXPECT_EQ(0u, queue.size());  // The enqueue position has started over, the other one has not.
  EXPECT_EQ(4u, queue.backlog());
  int item = -1;
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(queue.dequeue(item));
  EXPECT_EQ(0u, queue.backlog());
  EXPECT_TRUE(queue.enqueue(4));
  EXPECT_EQ(1u, queue.size());
  EXPECT_EQ(1u, queue.backlog());
}

TEST(MpmcBoundedQueueTest, StartsAtAnyPosition) {
  for (uint32_t first = 0u - 9; first != 9; ++first) {
    mpmc_bounded_queue<int> queue(8, first);
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(queue.enqueue(int{i}));
    EXPECT_FALSE(queue.enqueue(8));
    for (int i = 0; i < 8; ++i) {
      int item = -1;
      ASSERT_TRUE(queue.dequeue(item));
      EXPECT_EQ(i, item);
    }
  }
}

TEST(MpmcBoundedQueueTest, LetsAnItemBeWrittenOverWhatItsCellHeld) {
  mpmc_bounded_queue<std::string> queue(2);
  int calls = 0;
  const auto fill = [&calls](std::string& item) {
    item += static_cast<char>('a' + calls);
    ++calls;
  };
  EXPECT_TRUE(queue.enqueue_with(fill));
  EXPECT_TRUE(queue.enqueue_with(fill));
  EXPECT_FALSE(queue.enqueue_with(fill));
  EXPECT_EQ(2, calls) << "not called without room";
  std::string item(100, 'x');
  EXPECT_TRUE(queue.dequeue(item));
  EXPECT_EQ("a", item);
  EXPECT_TRUE(queue.dequeue(item));
  EXPECT_EQ("b", item);
}

// Items are producer * count + number.
void ExpectEachItemOnce(int producers, int consumers, int count, uint32_t capacity,
                        uint32_t first_position = 0) {
  mpmc_bounded_queue<int> queue(capacity, first_position);
  std::atomic<int> left{producers * count};
  std::vector<std::vector<int>> taken(consumers);
  std::vector<std::thread> threads;
  for (int producer = 0; producer < producers; ++producer) {
    threads.emplace_back([&queue, producer, count] {
      for (int i = 0; i < count; ++i) {
        while (!queue.enqueue(producer * count + i)) std::this_thread::yield();
      }
    });
  }
  for (std::vector<int>& mine : taken) {
    threads.emplace_back([&queue, &left, &mine] {
      while (left.load(std::memory_order_relaxed) > 0) {
        int item = -1;
        if (!queue.dequeue(item)) {
          std::this_thread::yield();
          continue;
        }
        mine.push_back(item);
        left.fetch_sub(1, std::memory_order_relaxed);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::vector<int> times(static_cast<size_t>(producers) * count, 0);
  for (const std::vector<int>& mine : taken) {
    std::vector<int> last(producers, -1);
    for (const int item : mine) {
      ++times[item];
      EXPECT_GT(item, last[item / count]) << "a consumer sees each producer's items in order";
      last[item / count] = item;
    }
  }
  EXPECT_THAT(times, Each(1));
}

TEST(MpmcBoundedQueueTest, HandsEachItemOverOnceBetweenManyThreads) {
  ExpectEachItemOnce(1, 1, 20000, 2);
  ExpectEachItemOnce(4, 1, 5000, 64);
  ExpectEachItemOnce(1, 4, 20000, 64);
  ExpectEachItemOnce(4, 4, 5000, 8);
  for (uint32_t i = 0; i < 20; ++i) ExpectEachItemOnce(4, 4, 50, 4, kLatePosition + i);
}

}  // namespace
}  // namespace kx_utility
