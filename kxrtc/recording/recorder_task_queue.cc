#include "kxrtc/recording/recorder_task_queue.h"

#include <exception>

#include "kx_utility/thread.h"

namespace kxrtc {
namespace {

using kx_utility::Thread;

constexpr uint32_t kIdleSleepMs = 10;
constexpr uint32_t kPollMs = 1;

// The queue whose task this thread runs; null on other threads.
thread_local const RecorderTaskQueue* g_running = nullptr;

}  // namespace

RecorderTaskQueue::Turn::Turn(RecorderTaskQueue* queue) : queue_(queue) { g_running = queue; }

RecorderTaskQueue::Turn::~Turn() {
  g_running = nullptr;
  queue_->TakeBack();
}

bool RecorderTaskQueue::Initialize() {
  try {
    return handler_.Initialize(nullptr, kIdleSleepMs);
  } catch (const std::exception&) {  // No thread or no memory.
    return false;
  }
}

void RecorderTaskQueue::Finalize() {
  // First back into the queue, which takes nothing more once its handler finalizes.
  while (set_aside_count_.load(std::memory_order_acquire) != 0) Thread::Sleep(kPollMs);
  (void)handler_.WaitAllTasksDoneAndFinalize();  // Always true.
}

uint32_t RecorderTaskQueue::QueuedTasks() const {
  return handler_.QueuedTasks() + set_aside_count_.load(std::memory_order_relaxed);
}

void RecorderTaskQueue::PushTask(Task* task) {
  for (;;) {
    // Room in the queue belongs to what is set aside. Who finds nothing there also finds in the
    // queue what was there before.
    if (set_aside_count_.load(std::memory_order_acquire) == 0 && handler_.TryPushTask(*task)) {
      return;
    }
    if (MustNotWait() && SetAside(task)) return;
    Thread::TryYield();
  }
}

bool RecorderTaskQueue::MustNotWait() const {
  return g_running == this || in_host_call_.load(std::memory_order_seq_cst);
}

bool RecorderTaskQueue::SetAside(Task* task) {
  const std::lock_guard<std::mutex> guard(lock_);
  set_aside_.push_back(std::move(*task));
  set_aside_count_.fetch_add(1, std::memory_order_seq_cst);
  // Counted first and looked again second. The task thread leaves the host's call first and looks
  // at the count second: so it sees this task, or this thread sees that it can wait.
  if (MustNotWait()) return true;
  *task = std::move(set_aside_.back());
  set_aside_.pop_back();
  set_aside_count_.fetch_sub(1, std::memory_order_release);
  return false;
}

void RecorderTaskQueue::TakeBack() {
  if (set_aside_count_.load(std::memory_order_seq_cst) == 0) return;
  const std::lock_guard<std::mutex> guard(lock_);
  while (!set_aside_.empty() && handler_.TryPushTask(set_aside_.front())) {
    set_aside_.pop_front();
    set_aside_count_.fetch_sub(1, std::memory_order_release);
  }
}

}  // namespace kxrtc
