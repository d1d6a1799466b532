// A bounded lock-free queue for any number of producers and consumers: a ring of cells, each with a
// sequence number that tells whose turn it is.
#ifndef KX_UTILITY_MPMC_BOUNDED_QUEUE_H_
#define KX_UTILITY_MPMC_BOUNDED_QUEUE_H_

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace kx_utility {

// Threads: enqueue() and dequeue() from any number of threads at once; neither blocks. A cell
// passes to the other side with a release store of its sequence and an acquire load of it.
// Intended: positions and sequences are 32-bit, compared as unsigned numbers and never reset. So a
// call that meets a full or empty queue just where a position wraps (once in 2^32 items) waits for
// the other side instead of returning false.
template <typename T>
class mpmc_bounded_queue {
 public:
  // `capacity` is a power of two of at least 2.
  explicit mpmc_bounded_queue(uint32_t capacity)
      : capacity_(capacity), cells_(std::make_unique<Cell[]>(capacity)), mask_(capacity - 1) {
    assert(capacity >= 2 && (capacity & (capacity - 1)) == 0);
    for (uint32_t i = 0; i < capacity; ++i) cells_[i].sequence.store(i, std::memory_order_relaxed);
  }
  mpmc_bounded_queue(const mpmc_bounded_queue&) = delete;
  mpmc_bounded_queue& operator=(const mpmc_bounded_queue&) = delete;

  // False, `item` untouched, when the queue is full.
  [[nodiscard]] bool enqueue(T&& item) {
    uint32_t position = enqueue_position_.load(std::memory_order_relaxed);
    Cell* cell = nullptr;
    for (;;) {
      cell = &cells_[position & mask_];
      const uint32_t sequence = cell->sequence.load(std::memory_order_acquire);
      if (sequence == position) {
        if (enqueue_position_.compare_exchange_weak(position, position + 1,
                                                    std::memory_order_relaxed)) {
          break;
        }
      } else if (sequence < position) {
        return false;
      } else {
        position = enqueue_position_.load(std::memory_order_relaxed);
      }
    }
    cell->item = std::move(item);
    cell->sequence.store(position + 1, std::memory_order_release);
    return true;
  }

  // False, `out` untouched, when the queue is empty.
  [[nodiscard]] bool dequeue(T& out) {
    uint32_t position = dequeue_position_.load(std::memory_order_relaxed);
    Cell* cell = nullptr;
    for (;;) {
      cell = &cells_[position & mask_];
      const uint32_t sequence = cell->sequence.load(std::memory_order_acquire);
      if (sequence == position + 1) {
        if (dequeue_position_.compare_exchange_weak(position, position + 1,
                                                    std::memory_order_relaxed)) {
          break;
        }
      } else if (sequence < position + 1) {
        return false;
      } else {
        position = dequeue_position_.load(std::memory_order_relaxed);
      }
    }
    out = std::move(cell->item);
    cell->sequence.store(position + mask_ + 1, std::memory_order_release);
    return true;
  }

  // Items queued at some instant during the call; exact when nothing else touches the queue.
  uint32_t size() const {
    const uint32_t dequeued = dequeue_position_.load(std::memory_order_acquire);
    const uint32_t enqueued = enqueue_position_.load(std::memory_order_acquire);
    return enqueued > dequeued ? std::min(enqueued - dequeued, capacity_) : 0;
  }

 private:
  static constexpr size_t kCacheLine = 64;

  struct Cell {
    std::atomic<uint32_t> sequence;
    T item;
  };

  // Four groups on cache lines of their own, so that producers and consumers do not share one.
  alignas(kCacheLine) const uint32_t capacity_;
  alignas(kCacheLine) const std::unique_ptr<Cell[]> cells_;
  const uint32_t mask_;
  alignas(kCacheLine) std::atomic<uint32_t> enqueue_position_{0};
  alignas(kCacheLine) std::atomic<uint32_t> dequeue_position_{0};
  char padding_[kCacheLine - sizeof(std::atomic<uint32_t>)];
};

}  // namespace kx_utility

#endif  // KX_UTILITY_MPMC_BOUNDED_QUEUE_H_
