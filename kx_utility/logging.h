// The streaming log statement of the library and the interface of a log sink.
//
//   LogMessage(__FILE__, __func__, __LINE__, LS_INFO) << "count = " << 3;
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
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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

// Whether a value of type T, and none that merely converts to it, is logged as a character, a
// number or a text of which a stream in its initial state writes no more and no less.
template <typename T>
constexpr bool kIsCharacter =
    std::is_same_v<T, char> || std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char>;
template <typename T>
constexpr bool kIsInteger =
    std::is_same_v<T, bool> || std::is_same_v<T, short> || std::is_same_v<T, unsigned short> ||
    std::is_same_v<T, int> || std::is_same_v<T, unsigned> || std::is_same_v<T, long> ||
    std::is_same_v<T, unsigned long> || std::is_same_v<T, long long> ||
    std::is_same_v<T, unsigned long long>;
template <typename T>
constexpr bool kIsText =
    std::is_same_v<T, char*> || std::is_same_v<T, const char*> || std::is_same_v<T, std::string>;

// One log statement: an output string stream that emits the line
// "[tag][severity][function][line]text\n" when it is destroyed. To construct a std::ostringstream
// costs more than everything else in a statement, so it is made when it is needed: for anything but
// strings, characters and numbers, for a format or a global locale that is not the initial one,
// for more than kInlineTextSize characters, and where a caller takes it. The text is always that of
// a stream that was there from the start. Statements of up to kInlineTextSize characters allocate
// nothing; one that finds no memory is cut, or lost when its sink finds none either, and nothing is
// thrown.
//
// Static and thread-local objects may log from their destructors.
class KX_EXPORT LogMessage {
 public:
  // `file` is accepted for the callers' convenience and not used. `function` is the bare name.
  LogMessage(const char* file, const char* function, int line, LoggingSeverity severity);
  ~LogMessage();
  LogMessage(const LogMessage&) = delete;
  LogMessage& operator=(const LogMessage&) = delete;

  // The statement as the stream that it is, with the text so far: for its format, its locale, its
  // position, and for functions that take a stream. Valid as long as the statement.
  std::ostringstream& stream();
  operator std::ostringstream&() { return stream(); }  // NOLINT: it is used as a stream.

  // Numbers of any kind are taken by value: a constant that is only declared in its class needs no
  // definition to be logged.
  template <typename T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
  LogMessage& operator<<(T value) {
    if (has_stream_) {
      stream_ << value;
    } else if constexpr (kIsCharacter<T>) {
      const auto character = static_cast<char>(value);
      Append({&character, 1});
    } else if constexpr (kIsInteger<T> && std::is_signed_v<T>) {
      AppendNumber(static_cast<long long>(value));
    } else if constexpr (kIsInteger<T>) {
      AppendNumber(static_cast<unsigned long long>(value));
    } else if constexpr (std::is_same_v<T, double> || std::is_same_v<T, float>) {
      AppendNumber(static_cast<double>(value));
    } else {
      stream() << value;
    }
    return *this;
  }

  template <typename T, std::enable_if_t<kIsText<std::decay_t<const T>>, int> = 0>
  LogMessage& operator<<(const T& value) {
    const std::string_view text = TextOf(value);
    if (has_stream_ || text.data() == nullptr) {
      stream() << value;
    } else {
      Append(text);
    }
    return *this;
  }

  template <typename T,
            std::enable_if_t<!std::is_arithmetic_v<std::decay_t<T>> && !kIsText<std::decay_t<T>>,
                             int> = 0>
  LogMessage& operator<<(T&& value) {
    stream() << std::forward<T>(value);
    return *this;
  }

  // std::endl, std::hex and the like.
  LogMessage& operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    manipulator(stream());
    return *this;
  }
  LogMessage& operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
    manipulator(stream());
    return *this;
  }

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

  static std::string_view TextOf(const std::string& text) { return text; }
  static std::string_view TextOf(const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
  }

  void Append(std::string_view text) {
    if (has_stream_ || text.size() > kInlineTextSize - size_) {
      AppendToStream(text);
    } else {
      std::memcpy(inline_text_ + size_, text.data(), text.size());
      size_ += text.size();
    }
  }
  void AppendToStream(std::string_view text);
  void AppendNumber(long long number);
  void AppendNumber(unsigned long long number);
  void AppendNumber(double number);
  void AppendPrefix(const char* function, int line);
  void FinishStream();
  void Emit(const char* text, size_t size) const;

  LoggingSeverity severity_;
  bool has_stream_ = false;
  size_t size_ = 0;                        // Of the text, as long as there is no stream.
  char inline_text_[kInlineTextSize + 2];  // A newline and a terminating zero follow the text.
  union {
    std::ostringstream stream_;  // Puts its text into inline_text_ while that has room.
  };
};

// The name printed for `severity`; "UNKNOWN" for values outside the enumeration.
KX_EXPORT const char* SeverityName(LoggingSeverity severity);

// Points just past the last slash or backslash of `path`, or at `path` when it has neither.
KX_EXPORT const char* FilenameFromPath(const char* path);

}  // namespace kx_utility

#endif  // KX_UTILITY_LOGGING_H_
