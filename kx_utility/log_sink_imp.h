// A log sink that writes statements to a file from its own thread, so that a thread that logs
// never waits for the disk.
//
//   LogSinkImp sink;
//   if (!sink.Initialize("client.log", LS_INFO)) return false;
//   LogMessage::AddLogSink(&sink);
//   // The program runs.
//   LogMessage::AddLogSink(nullptr);
//   sink.Finalize();
//
// A line of the file is: sequence number (at least 8 digits), tab, seconds since Initialize() with
// 9 decimals, tab, "[" thread id "] ", the statement with every newline turned into a space, tab,
// newline. Numbers count accepted statements across all files of the sink, the first is 1.
//
// Threads: OnLogMessage() from any number of threads at once, in parallel with everything except
// construction and destruction. Initialize(), Finalize() and FlushQueue() belong to one control
// thread. A sink that is destroyed while it is registered, or while a thread is still inside
// OnLogMessage(), cannot be made safe: detach it with AddLogSink(nullptr), wait until
// the running statements of other threads have ended, then destroy it. A statement that started
// before the sink was detached may still arrive later, even after Finalize(); that is harmless.
//
// No worker, no file: statements that arrive before Initialize(), after Finalize() or after an
// Initialize() that failed stay queued for the next Initialize() that succeeds, which writes them
// to its file. Without a worker nothing waits: Finalize() and FlushQueue() return at once and
// leave them queued. When the queue is full, OnLogMessage() drops its statement: the oldest 65,536
// are kept, and later statements are lost and take no number.
//
// Nothing is stored per thread, so statements from destructors of thread-local and static objects
// work too while the sink exists.
//
// Memory: without memory for the copy of a statement, or for its line, the text is cut. No
// statement is lost by that.
//
// The file: when the disk is full, what does not fit is lost; has_lost_text() tells. Writing goes
// on when there is room again; the line at that place may be cut. Bytes go to the current end of
// the file, so a file that is truncated while it is written (logrotate's copytruncate) starts over
// without a hole; what the rotation loses between copy and truncation is
// not handled here. A file that is renamed or removed is still written until the next Initialize().
#ifndef KX_UTILITY_LOG_SINK_IMP_H_
#define KX_UTILITY_LOG_SINK_IMP_H_

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kx_utility/export.h"
#include "kx_utility/logging.h"
#include "kx_utility/mpmc_bounded_queue.h"
#include "kx_utility/runnable.h"
#include "kx_utility/stop_watch.h"
#include "kx_utility/thread.h"

namespace kx_utility {

class KX_EXPORT LogSinkImp : public LogSink, private Runnable {
 public:
  LogSinkImp();
  ~LogSinkImp() override;  // Calls Finalize().
  LogSinkImp(const LogSinkImp&) = delete;
  LogSinkImp& operator=(const LogSinkImp&) = delete;

  // Finalizes, then truncates or creates the file at `path` and starts the worker, which writes
  // statements of at least `min_severity`. On false (the file cannot be opened, or the system has
  // no thread or no memory to give) the sink has neither file nor worker.
  bool Initialize(const char* path, LoggingSeverity min_severity);

  // Waits without limit until everything queued is written, ends the worker and closes the file.
  // Always true; may be called at any time and twice. A sink that is still registered keeps the
  // call waiting as long as statements come in faster than they are written.
  bool Finalize();

  // Numbers the statement and queues a copy. While the queue (65,536 statements) is full the caller
  // yields until the worker has made room. Statements below the minimum severity (LS_INFO before
  // the first Initialize()) are dropped without a number.
  void OnLogMessage(const char* message, LoggingSeverity severity) override;

  // Intended: does nothing.
  void SetDumpScopeLog(bool enable) override;

  // Waits until the worker has taken every queued statement. What it wrote may still be in the
  // stream's buffer, which is flushed about once a second.
  void FlushQueue();

  // True when a part of the last file could not be written. Known when Finalize() has returned.
  bool has_lost_text() const { return has_lost_text_; }

  // Runnable, for the worker's Thread:
  void Run(Thread* thread) override;
  void Stop() override;

 private:
  struct AsyncMsg {
    double time_s = 0;  // On the sink's clock.
    uint32_t thread_id = 0;
    std::string message;
    uint32_t sequence_number = 0;
  };

  bool ProcessNextMsg();
  void WriteLine(const AsyncMsg& msg);

  std::atomic<bool> stop_requested_{false};
  Thread worker_;
  // Every statement changes it, so it has a cache line of its own: the queue begins with another.
  alignas(64) std::atomic<uint32_t> next_sequence_number_{1};
  mpmc_bounded_queue<AsyncMsg> queue_;
  std::FILE* file_ = nullptr;
  std::atomic<int32_t> min_severity_{LS_INFO};
  StopWatch clock_;
  std::vector<char> format_buffer_;  // The worker's scratch for one line.
  AsyncMsg taken_;                   // The worker's; its text gives its memory to the next cell.
  bool has_lost_text_ = false;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_LOG_SINK_IMP_H_
