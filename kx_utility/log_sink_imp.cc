#include "kx_utility/log_sink_imp.h"

#include <fcntl.h>

#include <cstring>
#include <system_error>

#include "kx_utility/log_line.h"

namespace kx_utility {
namespace {

constexpr uint32_t kQueueCapacity = 65536;
constexpr size_t kStreamBufferSize = 64 * 1024;
constexpr size_t kMaxKeptCapacity = 1024;
constexpr int64_t kFlushIntervalMs = 1000;
constexpr uint32_t kMessagesPerClockReading = 64;

// Truncates or creates the file. Null when it cannot be opened.
std::FILE* OpenLogFile(const char* path) {
  if (path == nullptr) return nullptr;
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return nullptr;
  // Writes go to the end that the file has then, whoever truncates it meanwhile. A file that does
  // not know this mode is written as it is.
  const int descriptor = fileno(file);
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags != -1) (void)fcntl(descriptor, F_SETFL, flags | O_APPEND);
  (void)std::setvbuf(file, nullptr, _IOFBF, kStreamBufferSize);
  return file;
}

}  // namespace

LogSinkImp::LogSinkImp() : queue_(kQueueCapacity) {}

LogSinkImp::~LogSinkImp() { Finalize(); }

bool LogSinkImp::Initialize(const char* path, LoggingSeverity min_severity) {
  Finalize();
  file_ = OpenLogFile(path);
  if (file_ == nullptr) return false;
  clock_.Restart();
  min_severity_.store(min_severity, std::memory_order_relaxed);
  try {
    worker_.Start(this);
  } catch (const std::system_error&) {
    Finalize();
    return false;
  }
  initialized_.store(true, std::memory_order_release);
  return true;
}

bool LogSinkImp::Finalize() {
  initialized_.store(false, std::memory_order_release);
  FlushQueue();
  worker_.Stop();
  clock_.Stop();
  stop_requested_.store(false, std::memory_order_release);
  if (file_ != nullptr) (void)std::fclose(file_);  // A full disk has lost its lines by now.
  file_ = nullptr;
  return true;
}

void LogSinkImp::OnLogMessage(const char* message, LoggingSeverity severity) {
  if (min_severity_.load(std::memory_order_relaxed) > severity) return;
  // Queueing swaps it with what the cell held, so that the copy mostly finds memory to reuse.
  thread_local AsyncMsg msg;
  msg.severity = severity;
  msg.time_s = clock_.TimeInSecondsDouble();
  msg.thread_id = Thread::CurrentThreadId();
  msg.message = message;
  msg.sequence_number = next_sequence_number_.fetch_add(1, std::memory_order_relaxed);
  while (!queue_.enqueue(std::move(msg))) {
    if (!worker_.IsRunning()) return;  // Nobody makes room.
    Thread::TryYield();
  }
}

void LogSinkImp::SetDumpScopeLog(bool /*enable*/) {}

void LogSinkImp::FlushQueue() {
  while (queue_.size() != 0 && worker_.IsRunning()) Thread::Sleep(1);
}

void LogSinkImp::Run(Thread* /*thread*/) {
  StopWatch since_flush;
  uint32_t written = 0;
  while (!stop_requested_.load(std::memory_order_acquire)) {
    if (!ProcessNextMsg()) {
      Thread::Sleep(1);
      written = 0;
    } else if (++written % kMessagesPerClockReading != 0) {
      continue;  // The clock costs as much as the line.
    }
    if (since_flush.TimeInMilliseconds() > kFlushIntervalMs) {
      (void)std::fflush(file_);
      since_flush.Restart();
    }
  }
}

void LogSinkImp::Stop() { stop_requested_.store(true, std::memory_order_release); }

bool LogSinkImp::ProcessNextMsg() {
  if (!queue_.dequeue(taken_)) return false;
  WriteLine(taken_);
  // Its memory goes into the next cell that is taken; that of a long text would stay for ever.
  if (taken_.message.capacity() > kMaxKeptCapacity) std::string().swap(taken_.message);
  return true;
}

void LogSinkImp::WriteLine(const AsyncMsg& msg) {
  const size_t needed = msg.message.size() + kLogLineOverhead;
  if (format_buffer_.size() < needed) format_buffer_.resize(needed);
  const size_t length = FormatLogLine(format_buffer_.data(), msg.sequence_number, msg.time_s,
                                      msg.thread_id, msg.message.data(), msg.message.size());
  (void)fwrite_unlocked(format_buffer_.data(), 1, length, file_);  // No other thread writes.
}

}  // namespace kx_utility
