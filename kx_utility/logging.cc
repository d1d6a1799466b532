#include "kx_utility/logging.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <locale>
#include <new>

namespace kx_utility {
namespace {

int64_t SystemClockMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// Shows and sets where a string stream keeps its text.
class BufferAccess : public std::stringbuf {
 public:
  // Text goes to `memory` first, behind the `used` bytes that it holds, and to the heap only when
  // that is full.
  static void SetMemory(std::stringbuf* buffer, char* memory, size_t size, size_t used) {
#ifdef __GLIBCXX__
    buffer->pubsetbuf(memory, static_cast<std::streamsize>(size));
    (buffer->*&BufferAccess::setg)(memory, memory, memory);
    (buffer->*&BufferAccess::pbump)(static_cast<int>(used));
#else
    (void)size;  // Other standard libraries decline an offer of memory.
    buffer->sputn(memory, static_cast<std::streamsize>(used));
#endif
  }

  static const char* Begin(const std::stringbuf& buffer) {
    return (buffer.*&BufferAccess::pbase)();
  }
  static const char* End(const std::stringbuf& buffer) { return (buffer.*&BufferAccess::pptr)(); }

  static void DropLast(std::stringbuf* buffer, int count) {
    (buffer->*&BufferAccess::pbump)(-count);
  }

  // False after the position was moved: then text may follow it.
  static bool EndsAtThePosition(const std::stringbuf& buffer) {
    return (buffer.*&BufferAccess::egptr)() <= End(buffer);
  }
};

std::string_view Digits(const char* begin, std::to_chars_result result) {
  return {begin, static_cast<size_t>(result.ptr - begin)};
}

void WriteToStandardError(const char* text, size_t size) {
  std::fwrite(text, 1, size, stderr);
  std::fflush(stderr);
}

}  // namespace

const char* const LS_SCOPE_DETAIL_NAME = "DETAIL";
const char* const LS_SENSITIVE_NAME = "SENSITIVE";
const char* const LS_VERBOSE_NAME = "VERBOSE";
const char* const LS_INFO_NAME = "INFO";
const char* const LS_WARNING_NAME = "WARNING";
const char* const LS_ERROR_NAME = "ERROR";
const char* const LS_NONE_NAME = "NONE";
const char* const LS_UNKNOWN_NAME = "UNKNOWN";

const int64_t g_start_time_ = SystemClockMicroseconds();

std::atomic<int32_t> LogMessage::g_min_sev_{LS_NONE};
std::atomic<LogSink*> LogMessage::g_sink_{nullptr};
LogMessage::Tag LogMessage::g_log_tag;

LogMessage::Tag::Tag() : text("kx_utility") {}

LogMessage::Tag::~Tag() {}  // Intended: the text stays for statements of static destructors.

LogMessage::LogMessage(const char* /*file*/, const char* function, int line,
                       LoggingSeverity severity)
    : severity_(severity) {
  AppendPrefix(function, line);
  // Other locales may group the digits.
  if (std::locale() != std::locale::classic()) (void)stream();
}

// Whatever the state of the stream, should a long tag or name of a function have made one.
void LogMessage::AppendPrefix(const char* function, int line) {
  Append("[");
  Append(g_log_tag.text);
  Append("][");
  Append(SeverityName(severity_));
  Append("][");
  *this << function;
  Append("][");
  AppendNumber(static_cast<long long>(line));
  Append("]");
}

LogMessage::~LogMessage() {
  try {
    if (has_stream_) {
      FinishStream();
    } else {
      inline_text_[size_] = '\n';
      inline_text_[size_ + 1] = '\0';
      Emit(inline_text_, size_ + 1);
    }
  } catch (const std::bad_alloc&) {
    // A statement whose sink finds no memory is lost; the program that makes it goes on.
  }
  if (has_stream_) stream_.~basic_ostringstream();
}

void LogMessage::FinishStream() {
  std::stringbuf& buffer = *stream_.rdbuf();
  if (!BufferAccess::EndsAtThePosition(buffer)) {
    stream_.put('\n');
    const std::string text = stream_.str();
    Emit(text.c_str(), text.size());
    return;
  }
  try {
    buffer.sputc('\n');
    buffer.sputc('\0');
  } catch (const std::bad_alloc&) {
    BufferAccess::DropLast(&buffer, 2);
    buffer.sputc('\n');
    buffer.sputc('\0');
  }
  const char* const text = BufferAccess::Begin(buffer);
  Emit(text, static_cast<size_t>(BufferAccess::End(buffer) - text) - 1);
}

void LogMessage::Emit(const char* text, size_t size) const {
  if (g_min_sev_.load(std::memory_order_relaxed) <= severity_) WriteToStandardError(text, size);
  if (LogSink* sink = g_sink_.load(std::memory_order_acquire)) {
    sink->OnLogMessage(text, severity_);
  }
}

std::ostringstream& LogMessage::stream() {
  if (!has_stream_) {
    new (&stream_) std::ostringstream();
    has_stream_ = true;
    BufferAccess::SetMemory(stream_.rdbuf(), inline_text_, sizeof(inline_text_), size_);
  }
  return stream_;
}

void LogMessage::AppendToStream(std::string_view text) {
  const auto whole = static_cast<std::streamsize>(text.size());
  std::streamsize written = 0;
  try {
    written = stream().rdbuf()->sputn(text.data(), whole);
  } catch (const std::bad_alloc&) {  // What found room stays.
  }
  if (written != whole) stream_.setstate(std::ios_base::badbit);
}

void LogMessage::AppendNumber(long long number) {
  char digits[24];
  Append(Digits(digits, std::to_chars(digits, std::end(digits), number)));
}

void LogMessage::AppendNumber(unsigned long long number) {
  char digits[24];
  Append(Digits(digits, std::to_chars(digits, std::end(digits), number)));
}

void LogMessage::AppendNumber(double number) {
  constexpr int kPrecision = 6;  // A stream's initial one.
  char digits[24];
  Append(Digits(digits, std::to_chars(digits, std::end(digits), number, std::chars_format::general,
                                      kPrecision)));
}

void LogMessage::SetLoggingTag(const char* tag) { g_log_tag.text = tag; }

void LogMessage::LogToDebug(LoggingSeverity min) {
  g_min_sev_.store(min, std::memory_order_relaxed);
}

void LogMessage::AddLogSink(LogSink* sink) { g_sink_.store(sink, std::memory_order_release); }

LogSink* LogMessage::GetCurrentLogSink() { return g_sink_.load(std::memory_order_acquire); }

void LogMessage::DumpScopeLog(bool enable) {
  if (LogSink* sink = GetCurrentLogSink()) sink->SetDumpScopeLog(enable);
}

double LogMessage::DiffTime() {
  return static_cast<double>(SystemClockMicroseconds() - g_start_time_) * 1e-6;
}

void LogMessage::OutputToDebug(const std::string& text, LoggingSeverity /*severity*/) {
  WriteToStandardError(text.data(), text.size());
}

const char* SeverityName(LoggingSeverity severity) {
  switch (severity) {
    case LS_SCOPE_DETAIL:
      return LS_SCOPE_DETAIL_NAME;
    case LS_SENSITIVE:
      return LS_SENSITIVE_NAME;
    case LS_VERBOSE:
      return LS_VERBOSE_NAME;
    case LS_INFO:
    case LS_FORCED_INFO:
      return LS_INFO_NAME;
    case LS_WARNING:
    case LS_FORCED_WARNING:
      return LS_WARNING_NAME;
    case LS_ERROR:
    case LS_FORCED_ERROR:
      return LS_ERROR_NAME;
    case LS_NONE:
      return LS_NONE_NAME;
  }
  return LS_UNKNOWN_NAME;
}

const char* FilenameFromPath(const char* path) {
  const char* name = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/' || *p == '\\') name = p + 1;
  }
  return name;
}

}  // namespace kx_utility
