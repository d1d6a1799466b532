// Work on a thread of its own, whose results come back in the order of the jobs.
#ifndef HOST_FFMPEG_JOB_THREAD_H_
#define HOST_FFMPEG_JOB_THREAD_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace kxrtc_host {

// The owner decides how many jobs may be under way: a fixed number makes the order of everything
// that it writes independent of thread timing.
// Threads: the object belongs to one thread at a time; what `work` uses, to the thread inside.
template <typename Job>
class JobThread {
 public:
  explicit JobThread(std::function<void(Job*)> work)
      : work_(std::move(work)), thread_([this] { Run(); }) {}

  // Drops unfinished jobs.
  ~JobThread() {
    {
      const std::lock_guard<std::mutex> guard(lock_);
      stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }

  JobThread(const JobThread&) = delete;
  JobThread& operator=(const JobThread&) = delete;

  void Queue(std::unique_ptr<Job> job) {
    {
      const std::lock_guard<std::mutex> guard(lock_);
      entries_.push_back({std::move(job), false, nullptr});
    }
    changed_.notify_all();
  }

  // Waits for the first job. There is one. Throws what its work threw.
  std::unique_ptr<Job> TakeFirst() {
    std::unique_lock<std::mutex> guard(lock_);
    changed_.wait(guard, [this] { return entries_.front().is_done; });
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    --next_;
    if (entry.failure) std::rethrow_exception(entry.failure);
    return std::move(entry.job);
  }

  // Jobs that are queued and not taken back. Only the owner changes the number.
  size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    std::unique_ptr<Job> job;
    bool is_done = false;
    std::exception_ptr failure;
  };

  void Run() {
    std::unique_lock<std::mutex> guard(lock_);
    for (;;) {
      changed_.wait(guard, [this] { return stop_ || next_ < entries_.size(); });
      if (stop_) return;
      Entry* const entry = &entries_[next_++];  // Stays where it is until it is done.
      guard.unlock();
      try {
        work_(entry->job.get());
      } catch (const std::exception&) {  // No memory, mostly.
        entry->failure = std::current_exception();
      }
      guard.lock();
      entry->is_done = true;
      changed_.notify_all();
    }
  }

  const std::function<void(Job*)> work_;
  std::mutex lock_;  // Guards the members below.
  std::condition_variable changed_;
  std::deque<Entry> entries_;  // In the order of their coming.
  size_t next_ = 0;            // The first that is not started.
  bool stop_ = false;
  std::thread thread_;  // Last: it uses the rest.
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_JOB_THREAD_H_
