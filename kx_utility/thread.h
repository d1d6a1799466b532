// Runs one Runnable on its own operating-system thread and stops it cooperatively.
#ifndef KX_UTILITY_THREAD_H_
#define KX_UTILITY_THREAD_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "kx_utility/export.h"
#include "kx_utility/runnable.h"

namespace kx_utility {

// Threads: Start() and Stop() from any thread but the one that runs; they exclude each other.
class KX_EXPORT Thread {
 public:
  // What a new thread runs.
  struct ThreadInit {
    Thread* thread = nullptr;
    Runnable* runnable = nullptr;
  };

  Thread() = default;
  ~Thread();  // Calls Stop().
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Runs runnable->Run(this) on a new thread. False, and nothing happens, when one is running.
  // `runnable` is borrowed until Stop() returns. Throws std::system_error "thread constructor
  // failed" when the system has no thread to give, std::bad_alloc when it has no memory; then the
  // Thread is as before and `runnable` is forgotten.
  bool Start(Runnable* runnable);

  // Calls the runnable's Stop() and joins the thread. Harmless when nothing was started.
  void Stop();

  // True from Start() until Run() has returned.
  bool IsRunning() const;

  // Only documents the caller's code: the name is not passed to the system. Always true.
  bool SetName(const char* name);

  static void Sleep(uint32_t ms);  // 0 returns at once, without yielding.
  static void TryYield();          // Gives up the processor once.

  // Identifies the calling thread in log lines: the low 32 bits of the standard library's hash of
  // its id, not the operating system's number.
  static uint32_t CurrentThreadId();

  // Entry of every new thread.
  static void PreRun(ThreadInit* init);

 private:
  std::unique_ptr<std::thread> thread_;
  std::unique_ptr<ThreadInit> init_;
  std::mutex lock_;  // Guards Start() and Stop().
  std::atomic<bool> running_{false};
};

}  // namespace kx_utility

#endif  // KX_UTILITY_THREAD_H_
