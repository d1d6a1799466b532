// A log sink that writes statements to a file from a thread of its own, so that a thread that logs
// never waits for the disk.
//
//   LogSinkImp sink;
//   if (!sink.Initialize("client.log", LS_INFO)) ...
//   LogMessage::AddLogSink(&sink);
//   ...
//   LogMessage::AddLogSink(nullptr);
//   sink.Finalize();
//
// A line of the file is: sequence number (at least 8 digits), tab, seconds since Initialize() with
// 9 decimals, tab, "[" thread id "] ", the statement with every newline turned into a space, tab,
// newline. Numbers count accepted statements across all files of the sink, the first is 1.
//
// Threads: OnLogMessage() from any number of threads at once, beside everything else but
// construction and destruction. Initialize(), Finalize() and FlushQueue() belong to one control
// thread. A sink that is destroyed while it is registered, or while a thread is still inside
// OnLogMessage(), cannot be made safe: detach it with AddLogSink(nullptr), let the statements that
// other threads have begun end, then destroy it. A statement that was begun before the sink was
// detached may still arrive afterwards, also behind Finalize(); that is harmless.
//
// No worker, no file: statements that arrive before Initialize(), after Finalize() or after an
// Initialize() that failed stay queued for the next Initialize() that succeeds, which writes them
// to its file. Nothing waits for a worker that does not run: Finalize() and FlushQueue() return at
// once and leave them queued, and OnLogMessage() drops its statement when the queue is full. The
// statement has a number by then, so that the gap in the file tells the loss.
//
// The file: a disk that is full loses what does not fit, silently, and writing goes on when there
// is room again; the line at that place may be cut. Bytes go to the end that the file has at that
// moment, so a file that is truncated while it is written (logrotate's copytruncate) starts over
// without a hole; what was copied but not truncated, or truncated but not copied, is the
// rotation's affair. A file that is renamed or removed is written on until the next Initialize().
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
  // no thread to give) the sink has neither file nor worker.
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

  // Runnable, for the worker's Thread:
  void Run(Thread* thread) override;
  void Stop() override;

 private:
  struct AsyncMsg {
    int32_t severity = LS_INFO;
    double time_s = 0;  // On the sink's clock.
    uint32_t thread_id = 0;
    std::string message;
    uint32_t sequence_number = 0;
  };

  bool ProcessNextMsg();
  void WriteLine(const AsyncMsg& msg);

  std::atomic<bool> initialized_{false};
  std::atomic<bool> stop_requested_{false};
  std::atomic<uint32_t> next_sequence_number_{1};
  Thread worker_;
  mpmc_bounded_queue<AsyncMsg> queue_;
  std::FILE* file_ = nullptr;
  std::atomic<int32_t> min_severity_{LS_INFO};
  StopWatch clock_;
  std::vector<char> format_buffer_;  // The worker's scratch for one line.
  AsyncMsg taken_;                   // The worker's; its text gives its memory to the queue.
};

}  // namespace kx_utility

#endif  // KX_UTILITY_LOG_SINK_IMP_H_
