#include "tools/kxrtc/tool_log.h"

#include "rtc_transcoder/api/rtc_transcoder.h"

namespace kxrtc_tool {
namespace {

constexpr int kPrefixParts = 4;  // "[tag][severity][function][line]" comes before the text.

std::string TextOf(const std::string& statement) {
  size_t begin = 0;
  for (int part = 0; part < kPrefixParts; ++part) {
    const size_t end = statement.find(']', begin);
    if (end == std::string::npos) return statement;
    begin = end + 1;
  }
  const size_t end = statement.find_last_not_of('\n');
  return end < begin || end == std::string::npos ? "" : statement.substr(begin, end + 1 - begin);
}

}  // namespace

ToolLog::ToolLog() : next_(kx_utility::LogMessage::GetCurrentLogSink()) { SetLogSink(this); }

ToolLog::~ToolLog() { SetLogSink(next_); }

std::string ToolLog::first_error() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return first_error_;
}

void ToolLog::OnLogMessage(const char* message, kx_utility::LoggingSeverity severity) {
  if (next_ != nullptr) next_->OnLogMessage(message, severity);
  if (severity != kx_utility::LS_ERROR) return;
  const std::lock_guard<std::mutex> guard(lock_);
  if (first_error_.empty()) first_error_ = TextOf(message);
}

void ToolLog::SetDumpScopeLog(bool enable) {
  if (next_ != nullptr) next_->SetDumpScopeLog(enable);
}

}  // namespace kxrtc_tool
