// A worker thread that executes queued callables one at a time, in order.
#ifndef KX_UTILITY_TASK_HANDLER_H_
#define KX_UTILITY_TASK_HANDLER_H_

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <thread>
#include <utility>

#include "kx_utility/export.h"
#include "kx_utility/mpmc_bounded_queue.h"
#include "kx_utility/runnable.h"
#include "kx_utility/thread.h"

namespace kx_utility {

// Slot order is binary interface: append only.
class KX_EXPORT TaskHandlerObserver {
 public:
  virtual ~TaskHandlerObserver() = default;

  // On the worker thread, after each task, with the task's id and result.
  virtual void OnTaskExecuted(uint32_t task_id, bool result) = 0;
};

// Threads: PushTask() from any thread, a task on the worker thread included; everything else on one
// control thread, never from a task.
class KX_EXPORT TaskHandler : public Runnable {
 public:
  // An id that the handler passes back to the observer, and what to call. An empty callable is a
  // programming error that ends the process; so does an exception that leaves a task.
  using Task = std::pair<uint32_t, std::function<bool()>>;

  TaskHandler();
  ~TaskHandler() override;  // Calls Finalize().

  // Finalizes, then starts the worker. `observer` may be null and is borrowed until the end; an
  // idle worker looks for work every `idle_sleep_ms` milliseconds. Always true. Throws what
  // Thread::Start() throws when the system has no thread or no memory; then the handler is as after
  // Finalize().
  bool Initialize(TaskHandlerObserver* observer, uint32_t idle_sleep_ms);

  // Moves `task` to the end of the queue. False, `task` untouched, when the handler does not accept
  // (any more). If the queue is full, the caller yields until there is room. A task must not wait,
  // because only its own end makes room: what it pushes onto a full queue is set aside and runs
  // after everything that was queued before it and before everything queued after it. Only
  // memory bounds how many are set aside: std::bad_alloc then, `task` untouched.
  bool PushTask(Task& task);

  // The same without waiting: false, `task` untouched, also when the queue is full.
  bool TryPushTask(Task& task);

  // Accepts nothing more, waits without limit until every task has run, then finalizes. Does
  // not wait without a worker: after Stop() no queued task would run. Always true.
  bool WaitAllTasksDoneAndFinalize();

  // Accepts nothing more, lets the running task finish and drops the queued ones. Always true;
  // harmless when not initialized.
  bool Finalize();

  // Tasks that wait to run, the running one not counted: a moment's view. Any thread.
  uint32_t QueuedTasks() const;

  // Calls the callable and returns its result.
  bool ExecuteTask(Task& task);

  bool IsStopThread() const;

  // Runnable:
  void Run(Thread* thread) override;
  void Stop() override;

 protected:
  // A queue whose positions start elsewhere, for tests near the end of their 32 bits.
  explicit TaskHandler(uint32_t first_position);

 private:
  // A task that a task pushed onto the full queue.
  struct DeferredTask {
    uint64_t due = 0;  // Runs when so many tasks were dequeued.
    Task task;
  };

  bool TakeNextTask(Task* task);

  std::atomic<bool> accepting_{false};
  std::atomic<bool> stop_requested_{false};
  TaskHandlerObserver* observer_ = nullptr;
  uint32_t idle_sleep_ms_ = 100;
  Thread worker_;
  mpmc_bounded_queue<Task> queue_;

  // Worker thread only, but for the two atomics.
  std::atomic<std::thread::id> worker_id_{};
  std::deque<DeferredTask> deferred_;
  std::atomic<uint32_t> deferred_count_{0};
  uint64_t dequeued_count_ = 0;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_TASK_HANDLER_H_
