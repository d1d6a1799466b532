#include "kx_utility/log_sink_imp.h"

#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "kx_utility/log_line.h"

namespace kx_utility {
namespace {

constexpr uint32_t kQueueCapacity = 65536;
constexpr size_t kStreamBufferSize = 64 * 1024;
constexpr size_t kMaxKeptCapacity = 1024;
constexpr size_t kFirstFormatBufferSize = kLogLineOverhead + kMaxKeptCapacity;
constexpr int64_t kFlushIntervalMs = 1000;
constexpr uint32_t kMessagesPerClockReading = 64;

// Copies `text`; without memory for all of it, as much as the copy has room for.
void AssignOrCut(const char* text, size_t size, std::string* copy) noexcept {
  try {
    copy->assign(text, size);
  } catch (const std::bad_alloc&) {
    copy->assign(text, std::min(size, copy->capacity()));
  }
}

// Truncates or creates the file. Null when it cannot be opened.
std::FILE* OpenLogFile(const char* path) {
  if (path == nullptr) return nullptr;
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return nullptr;
  // Writes go to the current end of the file, even if another program truncates it. A file that
  // does not support this mode is written as it is.
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
  has_lost_text_ = false;
  if (file_ == nullptr) return false;
  clock_.Restart();
  min_severity_.store(min_severity, std::memory_order_relaxed);
  try {
    format_buffer_.resize(std::max(format_buffer_.size(), kFirstFormatBufferSize));
    worker_.Start(this);
  } catch (const std::exception&) {  // The system has no memory or no thread.
    Finalize();
    return false;
  }
  return true;
}

bool LogSinkImp::Finalize() {
  FlushQueue();
  worker_.Stop();
  clock_.Stop();
  stop_requested_.store(false, std::memory_order_release);
  if (file_ != nullptr) {
    const bool has_failed = std::ferror(file_) != 0;
    has_lost_text_ = std::fclose(file_) != 0 || has_failed;
  }
  file_ = nullptr;
  return true;
}

void LogSinkImp::OnLogMessage(const char* message, LoggingSeverity severity) {
  if (min_severity_.load(std::memory_order_relaxed) > severity) return;
  const double time_s = clock_.TimeInSecondsDouble();
  const size_t size = std::strlen(message);
  // Copied straight into the cell, which mostly has memory to reuse: this thread keeps nothing that
  // its end, or the program's, could destroy before the last statement. The number is taken when
  // there is room, so that a statement that finds none leaves no gap.
  const auto fill = [&](AsyncMsg& msg) noexcept {
    msg.time_s = time_s;
    msg.thread_id = Thread::CurrentThreadId();
    AssignOrCut(message, size, &msg.message);
    msg.sequence_number = next_sequence_number_.fetch_add(1, std::memory_order_relaxed);
  };
  while (!queue_.enqueue_with(fill)) {
    if (!worker_.IsRunning()) return;  // Nobody makes room.
    Thread::TryYield();
  }
}

void LogSinkImp::SetDumpScopeLog(bool /*enable*/) {}

void LogSinkImp::FlushQueue() {
  while (queue_.backlog() != 0 && worker_.IsRunning()) Thread::Sleep(1);
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
  size_t size = msg.message.size();
  try {
    const size_t needed = size + kLogLineOverhead;
    if (format_buffer_.size() < needed) format_buffer_.resize(needed);
  } catch (const std::bad_alloc&) {
    size = format_buffer_.size() - kLogLineOverhead;
  }
  const size_t length = FormatLogLine(format_buffer_.data(), msg.sequence_number, msg.time_s,
                                      msg.thread_id, msg.message.data(), size);
  // Locks the stream: other code of the process may flush all streams.
  (void)std::fwrite(format_buffer_.data(), 1, length, file_);
}

}  // namespace kx_utility
