// The recorder's work on its way to the task thread. A full queue makes an entry wait for room,
// except where only the entry's return can make the room: then the work is set aside and follows.
#ifndef KXRTC_RECORDING_RECORDER_TASK_QUEUE_H_
#define KXRTC_RECORDING_RECORDER_TASK_QUEUE_H_

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <utility>

#include "kx_utility/failure_log.h"
#include "kx_utility/task_handler.h"

namespace kxrtc {

// Work runs one at a time, in the order in which it was accepted: work of a call that returned
// before another call began runs first, whatever threads the two came from.
// Threads: Initialize() and Finalize() are the control thread's, Push() and QueuedTasks() are
// anybody's. The lock is taken only while the queue is full and the task thread is inside a
// HostCall, for what the task thread itself pushes onto a full queue, and until such work is back
// in the queue. Otherwise a push is one lock-free enqueue.
class RecorderTaskQueue {
 public:
  // While one lives, on the task thread, the host may be waiting for a thread that is inside
  // Push(): nobody waits for room. Work that does not fit is set aside, without a limit: its memory
  // is that of everything that arrives until the host's call returns.
  class HostCall {
   public:
    explicit HostCall(RecorderTaskQueue* queue) : queue_(queue) {
      queue_->in_host_call_.store(true, std::memory_order_seq_cst);
    }
    ~HostCall() { queue_->in_host_call_.store(false, std::memory_order_seq_cst); }
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;

   private:
    RecorderTaskQueue* queue_;
  };

  RecorderTaskQueue() = default;
  RecorderTaskQueue(const RecorderTaskQueue&) = delete;
  RecorderTaskQueue& operator=(const RecorderTaskQueue&) = delete;

  // Starts the task thread. False, and nothing is started, if there is no thread or memory.
  [[nodiscard]] bool Initialize();

  // Waits until all work has run, then ends the task thread. Nobody may push any more, the work
  // that still runs included.
  void Finalize();

  // Queues `work`, a callable without arguments that returns bool. Needs an initialized queue.
  // Throws std::bad_alloc; then nothing was queued. Work that throws it is logged and has ended.
  template <typename Work>
  void Push(Work work) {
    Task task(kTaskId, [this, work = std::move(work)] { return Run(work); });
    PushTask(&task);
  }

  // Work that waits for the task thread, including the work set aside: a snapshot.
  uint32_t QueuedTasks() const;

 private:
  using Task = kx_utility::TaskHandler::Task;

  // The time in which the task thread runs one task.
  class Turn {
   public:
    explicit Turn(RecorderTaskQueue* queue);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    RecorderTaskQueue* queue_;
  };

  static constexpr uint32_t kTaskId = 0;

  template <typename Work>
  bool Run(const Work& work) {
    const Turn turn(this);
    return kx_utility::Succeeds(work);
  }

  void PushTask(Task* task);
  bool MustNotWait() const;
  bool SetAside(Task* task);
  void TakeBack();

  std::atomic<bool> in_host_call_{false};
  std::atomic<uint32_t> set_aside_count_{0};
  std::mutex lock_;
  std::deque<Task> set_aside_;  // Under the lock. All of it follows what stands in the queue.
  kx_utility::TaskHandler handler_;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_RECORDER_TASK_QUEUE_H_
