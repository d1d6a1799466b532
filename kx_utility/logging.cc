#include "kx_utility/logging.h"

#include <chrono>
#include <cstdio>

namespace kx_utility {
namespace {

int64_t SystemClockMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
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
std::string LogMessage::g_log_tag = "kx_utility";

LogMessage::LogMessage(const char* /*file*/, const char* function, int line,
                       LoggingSeverity severity)
    : severity_(severity) {
  *this << '[' << g_log_tag << "][" << SeverityName(severity) << "][" << function << "][" << line
        << ']';
}

LogMessage::~LogMessage() {
  *this << std::endl;
  const std::string text = str();
  if (g_min_sev_.load(std::memory_order_relaxed) <= severity_) OutputToDebug(text, severity_);
  if (LogSink* sink = g_sink_.load(std::memory_order_acquire)) {
    sink->OnLogMessage(text.c_str(), severity_);
  }
}

void LogMessage::SetLoggingTag(const char* tag) { g_log_tag = tag; }

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
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
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
