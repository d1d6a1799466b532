#include "kx_utility/thread.h"

#include <sched.h>

#include <chrono>
#include <functional>
#include <system_error>
#include <utility>

namespace kx_utility {

Thread::~Thread() { Stop(); }

bool Thread::Start(Runnable* runnable) {
  std::lock_guard<std::mutex> guard(lock_);
  if (running_.load(std::memory_order_acquire)) return false;
  // A thread that ended by itself was not joined yet.
  if (thread_ != nullptr && thread_->joinable()) thread_->join();
  auto init = std::make_unique<ThreadInit>(ThreadInit{this, runnable});
  // Before the thread exists: a short Run() clears the flag at once.
  running_.store(true, std::memory_order_release);
  try {
    thread_ = std::make_unique<std::thread>(&Thread::PreRun, init.get());
  } catch (const std::system_error& error) {
    running_.store(false, std::memory_order_release);
    throw std::system_error(error.code(), "thread constructor failed");
  } catch (...) {  // No memory.
    running_.store(false, std::memory_order_release);
    throw;
  }
  init_ = std::move(init);
  return true;
}

void Thread::Stop() {
  std::lock_guard<std::mutex> guard(lock_);
  if (init_ != nullptr) init_->runnable->Stop();
  if (thread_ != nullptr && thread_->joinable()) thread_->join();
  thread_.reset();
  init_.reset();
  running_.store(false, std::memory_order_release);
}

bool Thread::IsRunning() const { return running_.load(std::memory_order_acquire); }

bool Thread::SetName(const char* /*name*/) { return true; }

void Thread::Sleep(uint32_t ms) {
  if (ms != 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

void Thread::TryYield() { sched_yield(); }

uint32_t Thread::CurrentThreadId() {
  return static_cast<uint32_t>(std::hash<std::thread::id>()(std::this_thread::get_id()));
}

void Thread::PreRun(ThreadInit* init) {
  Thread* thread = init->thread;
  init->runnable->Run(thread);
  thread->running_.store(false, std::memory_order_release);
}

}  // namespace kx_utility
