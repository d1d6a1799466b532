// The streaming log statement of the library and the interface of a log sink.
//
//   LogMessage(__FILE__, __func__, __LINE__, LS_INFO) << "count = " << count;
//
// A statement goes to standard error (gated by a process-wide threshold) and to at most one
// registered LogSink (never gated here: the sink applies its own threshold).
// Threads: a LogMessage belongs to the thread that builds it. The threshold and the sink may be
// changed while other threads log; the tag is set before logging starts.
#ifndef KX_UTILITY_LOGGING_H_
#define KX_UTILITY_LOGGING_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>

#include "kx_utility/export.h"

namespace kx_utility {

enum LoggingSeverity : int32_t {
  LS_SCOPE_DETAIL = -1,
  LS_SENSITIVE = 0,
  LS_VERBOSE = 1,
  LS_INFO = 2,
  LS_WARNING = 3,
  LS_ERROR = 4,
  LS_NONE = 5,
  // Intended: these pass every threshold and print under the ordinary names.
  LS_FORCED_INFO = 102,
  LS_FORCED_WARNING = 103,
  LS_FORCED_ERROR = 104,
};

KX_EXPORT extern const char* const LS_SCOPE_DETAIL_NAME;
KX_EXPORT extern const char* const LS_SENSITIVE_NAME;
KX_EXPORT extern const char* const LS_VERBOSE_NAME;
KX_EXPORT extern const char* const LS_INFO_NAME;
KX_EXPORT extern const char* const LS_WARNING_NAME;
KX_EXPORT extern const char* const LS_ERROR_NAME;
KX_EXPORT extern const char* const LS_NONE_NAME;
KX_EXPORT extern const char* const LS_UNKNOWN_NAME;

// Wall clock at program load in microseconds; the origin of LogMessage::DiffTime().
KX_EXPORT extern const int64_t g_start_time_;

// Receives every finished log statement of the process. No function may throw: an exception other
// than std::bad_alloc, which loses the statement, ends the process. Slot order is binary interface:
// append only.
class KX_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;

  // `message` is one whole statement, its closing newline included; valid during the call only.
  // Called on any thread that logs, several at a time.
  virtual void OnLogMessage(const char* message, LoggingSeverity severity) = 0;

  virtual void SetDumpScopeLog(bool enable) = 0;
};

// One log statement: collects text like any output string stream and emits the line
// "[tag][severity][function][line]text\n" when it is destroyed. Strings, characters and integers
// are inserted without the detour through the stream's locale as long as the stream's format and
// locale are the initial ones; the text is always that of any other output string stream.
// Statements of up to kInlineTextSize characters allocate nothing; one that finds no memory is cut,
// or lost when its sink finds none either, and nothing is thrown.
//
// Static and thread-local objects may log from their destructors.
class KX_EXPORT LogMessage : public std::ostringstream {
 public:
  // `file` is accepted for the callers' convenience and not used. `function` is the bare name.
  LogMessage(const char* file, const char* function, int line, LoggingSeverity severity);
  ~LogMessage() override;
  LogMessage(const LogMessage&) = delete;
  LogMessage& operator=(const LogMessage&) = delete;

  // What operator<< below does for the types that are logged most. The text is that of the stream's
  // own operator, which does the work where the stream's format was changed.
  void Insert(char c);
  void Insert(const char* text);
  void Insert(const std::string& text);
  void Insert(int number);
  void Insert(unsigned number);
  void Insert(long number);
  void Insert(unsigned long number);
  void Insert(long long number);
  void Insert(unsigned long long number);

  // Replaces the tag that opens every line. Not while other threads log.
  static void SetLoggingTag(const char* tag);

  // Statements of at least `min` go to standard error as well. Initially LS_NONE.
  static void LogToDebug(LoggingSeverity min);

  // Registers the one sink of the process, replacing the former one without notice; null detaches.
  // The caller keeps the sink alive while it is registered and until every statement that may have
  // seen it is finished: a sink destroyed earlier cannot be made safe here.
  static void AddLogSink(LogSink* sink);
  static LogSink* GetCurrentLogSink();

  // Forwards to the registered sink, if any.
  static void DumpScopeLog(bool enable);

  // Seconds since program load, by the wall clock.
  static double DiffTime();

  // Writes `text` to standard error and flushes it, for any severity.
  static void OutputToDebug(const std::string& text, LoggingSeverity severity);

 private:
  static std::atomic<int32_t> g_min_sev_;
  static std::atomic<LogSink*> g_sink_;

  // Constructed once, never destroyed.
  union Tag {
    Tag();
    ~Tag();
    std::string text;
  };
  static Tag g_log_tag;
  static constexpr size_t kInlineTextSize = 510;

  bool IsPlain() const;
  bool IsPlainForNumbers() const;
  void Append(const char* text, size_t size);
  template <typename Number>
  void AppendNumber(Number number);
  template <typename Number>
  void InsertNumber(Number number);
  void AppendPrefix(const char* function, int line);
  void Finish();
  void Emit(const char* text, size_t size) const;

  LoggingSeverity severity_;
  char inline_text_[kInlineTextSize + 2];  // A newline and a terminating zero follow the text.
};

// The numbers and the texts that LogMessage::Insert() takes, and no type that merely converts to
// one of them.
template <typename T>
constexpr bool kInsertsNumber =
    std::is_same_v<T, char> || std::is_same_v<T, int> || std::is_same_v<T, unsigned> ||
    std::is_same_v<T, long> || std::is_same_v<T, unsigned long> || std::is_same_v<T, long long> ||
    std::is_same_v<T, unsigned long long>;
template <typename T>
constexpr bool kInsertsText =
    std::is_same_v<T, char*> || std::is_same_v<T, const char*> || std::is_same_v<T, std::string>;

// Faster than the stream's operators, which take everything else. Numbers of any kind are taken by
// value: a constant that is only declared in its class needs no definition to be logged.
template <typename T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
LogMessage& operator<<(LogMessage& message, T value) {
  if constexpr (kInsertsNumber<T>) {
    message.Insert(value);
  } else {
    static_cast<std::ostream&>(message) << value;
  }
  return message;
}

template <typename T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
LogMessage& operator<<(LogMessage&& message, T value) {
  return message << value;
}

template <typename T, std::enable_if_t<kInsertsText<std::decay_t<const T>>, int> = 0>
LogMessage& operator<<(LogMessage& message, const T& value) {
  message.Insert(value);
  return message;
}

template <typename T, std::enable_if_t<kInsertsText<std::decay_t<const T>>, int> = 0>
LogMessage& operator<<(LogMessage&& message, const T& value) {
  return message << value;
}

// The name printed for `severity`; "UNKNOWN" for values outside the enumeration.
KX_EXPORT const char* SeverityName(LoggingSeverity severity);

// Points just past the last slash or backslash of `path`, or at `path` when it has neither.
KX_EXPORT const char* FilenameFromPath(const char* path);

}  // namespace kx_utility

#endif  // KX_UTILITY_LOGGING_H_
