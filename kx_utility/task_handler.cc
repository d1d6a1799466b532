#include "kx_utility/task_handler.h"

namespace kx_utility {
namespace {

constexpr uint32_t kQueueCapacity = 4096;

}  // namespace

TaskHandler::TaskHandler() : TaskHandler(0) {}

TaskHandler::TaskHandler(uint32_t first_position) : queue_(kQueueCapacity, first_position) {}

TaskHandler::~TaskHandler() { Finalize(); }

bool TaskHandler::Initialize(TaskHandlerObserver* observer, uint32_t idle_sleep_ms) {
  Finalize();
  observer_ = observer;
  idle_sleep_ms_ = idle_sleep_ms;
  try {
    worker_.Start(this);
  } catch (...) {
    Finalize();
    throw;
  }
  accepting_.store(true, std::memory_order_release);
  return true;
}

bool TaskHandler::PushTask(Task& task) {
  while (accepting_.load(std::memory_order_acquire)) {
    if (queue_.enqueue(std::move(task))) return true;
    if (worker_id_.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
      // In place first: without memory for it the task stays the caller's.
      DeferredTask& deferred = deferred_.emplace_back();
      deferred.due = dequeued_count_ + queue_.backlog();
      deferred.task = std::move(task);
      deferred_count_.fetch_add(1, std::memory_order_release);
      return true;
    }
    Thread::TryYield();
  }
  return false;
}

bool TaskHandler::TryPushTask(Task& task) {
  return accepting_.load(std::memory_order_acquire) && queue_.enqueue(std::move(task));
}

bool TaskHandler::WaitAllTasksDoneAndFinalize() {
  accepting_.store(false, std::memory_order_release);
  // The size first: who sees the queue empty also sees what its tasks have set aside.
  while ((queue_.backlog() != 0 || deferred_count_.load(std::memory_order_acquire) != 0) &&
         worker_.IsRunning()) {
    Thread::Sleep(1);
  }
  return Finalize();
}

bool TaskHandler::Finalize() {
  accepting_.store(false, std::memory_order_release);
  worker_.Stop();
  stop_requested_.store(false, std::memory_order_release);
  observer_ = nullptr;
  Task dropped;
  while (queue_.dequeue(dropped)) dropped = Task();
  deferred_.clear();
  deferred_count_.store(0, std::memory_order_release);
  return true;
}

uint32_t TaskHandler::QueuedTasks() const {
  return queue_.size() + deferred_count_.load(std::memory_order_relaxed);
}

bool TaskHandler::ExecuteTask(Task& task) { return task.second(); }

bool TaskHandler::IsStopThread() const { return stop_requested_.load(std::memory_order_acquire); }

bool TaskHandler::TakeNextTask(Task* task) {
  if (!deferred_.empty() && deferred_.front().due <= dequeued_count_) {
    *task = std::move(deferred_.front().task);
    deferred_.pop_front();
    deferred_count_.fetch_sub(1, std::memory_order_release);
    return true;
  }
  if (!queue_.dequeue(*task)) return false;
  ++dequeued_count_;
  return true;
}

void TaskHandler::Run(Thread* /*thread*/) {
  worker_id_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  while (!IsStopThread()) {
    Task task;
    if (!TakeNextTask(&task)) {
      Thread::Sleep(idle_sleep_ms_);
      continue;
    }
    const bool result = ExecuteTask(task);
    if (observer_ != nullptr) observer_->OnTaskExecuted(task.first, result);
  }
  worker_id_.store(std::thread::id(), std::memory_order_relaxed);
}

void TaskHandler::Stop() { stop_requested_.store(true, std::memory_order_release); }

}  // namespace kx_utility
