// A ring of cells between any number of producers and consumers, without locks.
//
// Each cell carries a sequence number that says whose turn it is: the position that may fill it, or
// that position plus one when its item may be taken. A side claims a position by compare-and-swap
// and hands the cell over by a release store of its sequence, which the other side's first read of
// the sequence acquires.
// Threads: any, for every operation; construction and destruction exclude all others.
#ifndef KX_UTILITY_MPMC_BOUNDED_QUEUE_H_
#define KX_UTILITY_MPMC_BOUNDED_QUEUE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

namespace kx_utility {

// T needs a default constructor and a move assignment. The cells are allocated once.
template <typename T>
class mpmc_bounded_queue {
 public:
  // `capacity` is a power of two from 2 up; anything else is a programming error and aborts. (In
  // a ring of one cell, full and empty look the same.)
  // The positions start at `first_position`; tests use it to get near the end of 32 bits.
  explicit mpmc_bounded_queue(uint32_t capacity, uint32_t first_position = 0)
      : capacity_(CheckedCapacity(capacity)),
        cells_(std::make_unique<Cell[]>(capacity)),
        mask_(capacity - 1),
        enqueue_position_(first_position),
        dequeue_position_(first_position) {
    for (uint32_t i = 0; i < capacity; ++i) {
      const uint32_t position = first_position + i;
      cells_[position & mask_].sequence.store(position, std::memory_order_relaxed);
    }
  }
  mpmc_bounded_queue(const mpmc_bounded_queue&) = delete;
  mpmc_bounded_queue& operator=(const mpmc_bounded_queue&) = delete;

  // Moves `item` into the ring; false, with `item` untouched, when the ring is full. Never blocks.
  [[nodiscard]] bool enqueue(T&& item) {
    return enqueue_with([&item](T& cell) { cell = std::move(item); });
  }

  // Calls `fill(T&)` once, when there is room, on the item in its cell: it still has what an
  // earlier dequeue() left there, and its memory can be reused. `fill` must not throw.
  template <typename Fill>
  [[nodiscard]] bool enqueue_with(const Fill& fill) {
    uint32_t position = enqueue_position_.load(std::memory_order_relaxed);
    Cell* cell = Claim(&enqueue_position_, &position, 0);
    if (cell == nullptr) return false;
    fill(cell->item);
    cell->sequence.store(position + 1, std::memory_order_release);
    return true;
  }

  // Moves the oldest item to `out`; false, with `out` untouched, when the ring is empty. Never
  // blocks.
  [[nodiscard]] bool dequeue(T& out) {
    uint32_t position = dequeue_position_.load(std::memory_order_relaxed);
    Cell* cell = Claim(&dequeue_position_, &position, 1);
    if (cell == nullptr) return false;
    out = std::move(cell->item);
    cell->sequence.store(position + 1 + mask_, std::memory_order_release);
    return true;
  }

  // The number of items claimed by producers and not yet by consumers. Exact while no other
  // thread uses the queue, else a snapshot, which may exceed the capacity. 0 means that the queue
  // was empty; the caller then also sees what the consumer did before it took the last item.
  uint32_t backlog() const {
    const uint32_t dequeued = dequeue_position_.load(std::memory_order_acquire);
    return enqueue_position_.load(std::memory_order_acquire) - dequeued;
  }

  // The same, at most the capacity, and too small for a moment every 2^32 items.
  uint32_t size() const {
    const uint32_t dequeued = dequeue_position_.load(std::memory_order_acquire);
    const uint32_t enqueued = enqueue_position_.load(std::memory_order_acquire);
    // Intended: compared as they are, also where the 32-bit positions start over.
    const uint32_t count = enqueued > dequeued ? enqueued - dequeued : 0;
    return count < capacity_ ? count : capacity_;
  }

  uint32_t capacity() const { return capacity_; }

 private:
  static constexpr size_t kCacheLine = 64;

  // Neighbours do not share a cache line: whoever fills one cell leaves the next one alone.
  struct alignas(kCacheLine) Cell {
    std::atomic<uint32_t> sequence{0};
    T item{};
  };

  static uint32_t CheckedCapacity(uint32_t capacity) {
    const bool power_of_two = (capacity & (capacity - 1)) == 0;
    if (capacity < 2 || !power_of_two) std::abort();
    return capacity;
  }

  // Advances `*next` from `*position` by one when the cell there is `lead` ahead of its position,
  // and returns the cell; null when the ring is full (lead 0) or empty (lead 1).
  Cell* Claim(std::atomic<uint32_t>* next, uint32_t* position, uint32_t lead) {
    for (;;) {
      Cell* cell = &cells_[*position & mask_];
      const uint32_t sequence = cell->sequence.load(std::memory_order_acquire);
      const uint32_t wanted = *position + lead;
      if (sequence == wanted) {
        if (next->compare_exchange_weak(*position, *position + 1, std::memory_order_release,
                                        std::memory_order_relaxed)) {
          return cell;
        }
        continue;  // `*position` is what the swap found.
      }
      // Intended: compared as unsigned numbers that start over after 2^32 items.
      if (sequence < wanted) return nullptr;
      const uint32_t reread = next->load(std::memory_order_relaxed);
      // Nobody got there first: the sequence only looks larger because the numbers start over here.
      if (reread == *position) return nullptr;
      *position = reread;
    }
  }

  const uint32_t capacity_;
  alignas(kCacheLine) const std::unique_ptr<Cell[]> cells_;
  const uint32_t mask_;
  alignas(kCacheLine) std::atomic<uint32_t> enqueue_position_;
  alignas(kCacheLine) std::atomic<uint32_t> dequeue_position_;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_MPMC_BOUNDED_QUEUE_H_
