// The queue stands between every thread that logs or records and its worker: a faster one takes
// less of the time of the threads that carry media.
//
// Transfer<Queue, Item>/P/C: items per second through P producers and C consumers, which yield
// when the queue is full or empty.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "kx_utility/mpmc_bounded_queue.h"

#ifdef KXRTC_BENCHMARK_PEERS
#include <concurrentqueue/concurrentqueue.h>

#include <boost/lockfree/queue.hpp>
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kCapacity = 4096;
constexpr int kItems = 1 << 20;

using Word = uint64_t;
struct Block {  // As large as a queued log message.
  uint64_t words[8];
};

template <typename Item>
class OwnQueue {
 public:
  bool Push(Item item) { return queue_.enqueue(std::move(item)); }
  bool Pop(Item* item) { return queue_.dequeue(*item); }

 private:
  kx_utility::mpmc_bounded_queue<Item> queue_{kCapacity};
};

#ifdef KXRTC_BENCHMARK_PEERS
template <typename Item>
class MoodycamelQueue {
 public:
  bool Push(Item item) { return queue_.enqueue(std::move(item)); }  // Grows instead of refusing.
  bool Pop(Item* item) { return queue_.try_dequeue(*item); }

 private:
  moodycamel::ConcurrentQueue<Item> queue_{kCapacity};
};

template <typename Item>
class BoostQueue {
 public:
  bool Push(Item item) { return queue_.bounded_push(item); }
  bool Pop(Item* item) { return queue_.pop(*item); }

 private:
  boost::lockfree::queue<Item> queue_{kCapacity};
};
#endif

template <typename Queue, typename Item>
void Transfer(benchmark::State& state) {
  const int producers = static_cast<int>(state.range(0));
  const int consumers = static_cast<int>(state.range(1));
  for (auto _ : state) {
    Queue queue;
    std::atomic<int> waiting{producers + consumers};
    std::vector<std::thread> threads;
    Clock::time_point start;
    const auto start_together = [&] {
      if (waiting.fetch_sub(1) == 1) start = Clock::now();
      while (waiting.load() != 0) std::this_thread::yield();
    };
    for (int producer = 0; producer < producers; ++producer) {
      threads.emplace_back([&] {
        start_together();
        const Item item{};
        for (int i = 0; i < kItems / producers; ++i) {
          while (!queue.Push(item)) std::this_thread::yield();
        }
      });
    }
    for (int consumer = 0; consumer < consumers; ++consumer) {
      threads.emplace_back([&] {
        start_together();
        Item item{};
        for (int i = 0; i < kItems / consumers; ++i) {
          while (!queue.Pop(&item)) std::this_thread::yield();
        }
        benchmark::DoNotOptimize(item);
      });
    }
    for (std::thread& thread : threads) thread.join();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}

#define KX_QUEUE_BENCHMARK(Queue)                   \
  BENCHMARK_TEMPLATE(Transfer, Queue<Word>, Word)   \
      ->Args({1, 1})                                \
      ->Args({2, 1})                                \
      ->Args({4, 1})                                \
      ->Args({2, 2})                                \
      ->UseManualTime()                             \
      ->Unit(benchmark::kMillisecond);              \
  BENCHMARK_TEMPLATE(Transfer, Queue<Block>, Block) \
      ->Args({1, 1})                                \
      ->Args({2, 1})                                \
      ->Args({4, 1})                                \
      ->UseManualTime()                             \
      ->Unit(benchmark::kMillisecond)

KX_QUEUE_BENCHMARK(OwnQueue);
#ifdef KXRTC_BENCHMARK_PEERS
KX_QUEUE_BENCHMARK(MoodycamelQueue);
KX_QUEUE_BENCHMARK(BoostQueue);
#endif
#undef KX_QUEUE_BENCHMARK

}  // namespace
