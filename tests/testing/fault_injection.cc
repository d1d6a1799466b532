#include "tests/testing/fault_injection.h"

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>

namespace kx_testing {
namespace {

constexpr size_t kFaults = 2;

// How many more of each kind until one fails; not above 0: none does.
std::atomic<int> g_until_failure[kFaults];
std::atomic<bool> g_all_threads{false};
thread_local bool g_on_this_thread = false;

std::atomic<int>& UntilFailure(Fault fault) { return g_until_failure[static_cast<size_t>(fault)]; }

bool MustFail(Fault fault) {
  if (!g_on_this_thread && !g_all_threads.load(std::memory_order_relaxed)) return false;
  std::atomic<int>& until = UntilFailure(fault);
  return until.load(std::memory_order_relaxed) > 0 &&
         until.fetch_sub(1, std::memory_order_relaxed) == 1;
}

// Counts down while it lives.
class ArmedFault {
 public:
  ArmedFault(Fault fault, int nth, FaultThreads threads) : fault_(fault) {
    UntilFailure(fault).store(nth, std::memory_order_relaxed);
    g_all_threads.store(threads == FaultThreads::kAll, std::memory_order_relaxed);
    g_on_this_thread = true;
  }
  ~ArmedFault() {
    g_on_this_thread = false;
    g_all_threads.store(false, std::memory_order_relaxed);
    UntilFailure(fault_).store(0, std::memory_order_relaxed);
  }
  ArmedFault(const ArmedFault&) = delete;
  ArmedFault& operator=(const ArmedFault&) = delete;

  int Left() const { return UntilFailure(fault_).load(std::memory_order_relaxed); }

 private:
  const Fault fault_;
};

void* AllocateOrNull(size_t size, size_t alignment) noexcept {
  if (MustFail(Fault::kAllocation)) return nullptr;
  if (size == 0) size = 1;
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
  const size_t whole = (size + alignment - 1) / alignment * alignment;
  return std::aligned_alloc(alignment, whole);
}

void* Allocate(size_t size, size_t alignment) {
  if (void* memory = AllocateOrNull(size, alignment)) return memory;
  throw std::bad_alloc();
}

}  // namespace

FaultRun RunWithFault(Fault fault, int nth, const std::function<void()>& body,
                      FaultThreads threads) {
  FaultRun run;
  std::exception_ptr thrown;
  {
    ArmedFault armed(fault, nth, threads);
    try {
      body();
    } catch (...) {
      thrown = std::current_exception();
    }
    run.failed = armed.Left() <= 0;
  }
  try {
    if (thrown != nullptr) std::rethrow_exception(thrown);
  } catch (const std::exception& exception) {
    run.thrown = exception.what();
  }
  return run;
}

int CountAllocations(const std::function<void()>& body) {
  ArmedFault counter(Fault::kAllocation, INT_MAX, FaultThreads::kCaller);
  body();
  return INT_MAX - counter.Left();
}

}  // namespace kx_testing

using kx_testing::Allocate;
using kx_testing::AllocateOrNull;

constexpr size_t kUsual = alignof(std::max_align_t);

void* operator new(size_t size) { return Allocate(size, kUsual); }
void* operator new[](size_t size) { return Allocate(size, kUsual); }
void* operator new(size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<size_t>(alignment));
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size, kUsual);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size, kUsual);
}
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size, static_cast<size_t>(alignment));
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}

// The program's definition comes before the C library's, and before a sanitizer's, which is the
// next one.
extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
    void* argument) noexcept {
  using PthreadCreate = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  if (kx_testing::MustFail(kx_testing::Fault::kThreadCreation)) return EAGAIN;
  static const auto next = reinterpret_cast<PthreadCreate>(dlsym(RTLD_NEXT, "pthread_create"));
  return next(thread, attributes, start, argument);
}
