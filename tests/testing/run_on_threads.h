// Several threads in the same code at once, for the thread sanitizer to watch.
#ifndef TESTS_TESTING_RUN_ON_THREADS_H_
#define TESTS_TESTING_RUN_ON_THREADS_H_

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace kx_testing {

// Runs `body` on `count` threads, which begin together, and waits for them.
inline void RunOnThreads(int count, const std::function<void()>& body) {
  std::atomic<int> missing{count};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      --missing;
      while (missing.load() > 0) std::this_thread::yield();
      body();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_RUN_ON_THREADS_H_
