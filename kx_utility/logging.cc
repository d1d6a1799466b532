#include "kx_utility/logging.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
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
  // Text goes to `memory` first, and to the heap only when that is full. A mere offer to the
  // standard library: one that declines it allocates.
  static void SetMemory(std::stringbuf* buffer, char* memory, std::streamsize size) {
#ifdef __GLIBCXX__
    buffer->pubsetbuf(memory, size);
    (buffer->*&BufferAccess::setg)(memory, memory, memory);  // It has no text yet.
#else
    (void)buffer, (void)memory, (void)size;
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
  BufferAccess::SetMemory(rdbuf(), inline_text_, sizeof(inline_text_));
  AppendPrefix(function, line);
}

void LogMessage::AppendPrefix(const char* function, int line) {
  const char* const severity = SeverityName(severity_);
  Append("[", 1);
  Append(g_log_tag.text.data(), g_log_tag.text.size());
  Append("][", 2);
  Append(severity, std::strlen(severity));
  Append("][", 2);
  Insert(function);
  Append("][", 2);
  AppendNumber(line);
  Append("]", 1);
}

LogMessage::~LogMessage() {
  try {
    Finish();
  } catch (const std::bad_alloc&) {
    // A statement whose sink finds no memory is lost; the program that makes it goes on.
  }
}

void LogMessage::Finish() {
  std::stringbuf& buffer = *rdbuf();
  if (!BufferAccess::EndsAtThePosition(buffer)) {
    put('\n');
    const std::string text = str();
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

// Whether the formatted insertion of text and integers would write no more and no less than the
// characters themselves.
bool LogMessage::IsPlain() const {
  constexpr fmtflags kInitial = skipws | dec;
  return good() && flags() == kInitial && width() == 0 && tie() == nullptr;
}

// Other locales may group the digits.
bool LogMessage::IsPlainForNumbers() const {
  return IsPlain() && getloc() == std::locale::classic();
}

void LogMessage::Append(const char* text, size_t size) {
  const auto whole = static_cast<std::streamsize>(size);
  std::streamsize written = 0;
  try {
    written = rdbuf()->sputn(text, whole);
  } catch (const std::bad_alloc&) {  // What found room stays.
  }
  if (written != whole) setstate(badbit);
}

template <typename Number>
void LogMessage::AppendNumber(Number number) {
  char digits[24];
  const char* const past_digits = std::to_chars(digits, digits + sizeof(digits), number).ptr;
  Append(digits, static_cast<size_t>(past_digits - digits));
}

template <typename Number>
void LogMessage::InsertNumber(Number number) {
  if (IsPlainForNumbers()) {
    AppendNumber(number);
  } else {
    static_cast<std::ostream&>(*this) << number;
  }
}

void LogMessage::Insert(char c) {
  if (IsPlain()) {
    Append(&c, 1);
  } else {
    static_cast<std::ostream&>(*this) << c;
  }
}

void LogMessage::Insert(const char* text) {
  if (IsPlain() && text != nullptr) {
    Append(text, std::strlen(text));
  } else {
    static_cast<std::ostream&>(*this) << text;
  }
}

void LogMessage::Insert(const std::string& text) {
  if (IsPlain()) {
    Append(text.data(), text.size());
  } else {
    static_cast<std::ostream&>(*this) << text;
  }
}

void LogMessage::Insert(int number) { InsertNumber(number); }
void LogMessage::Insert(unsigned number) { InsertNumber(number); }
void LogMessage::Insert(long number) { InsertNumber(number); }
void LogMessage::Insert(unsigned long number) { InsertNumber(number); }
void LogMessage::Insert(long long number) { InsertNumber(number); }
void LogMessage::Insert(unsigned long long number) { InsertNumber(number); }

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
