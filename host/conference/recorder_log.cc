#include "host/conference/recorder_log.h"

#include <cstdio>
#include <utility>

namespace kxrtc_host {
namespace {

using kx_utility::LogMessage;

constexpr size_t kMaxErrors = 1000;
constexpr uint32_t kDesktop = 3;

// What the recorder logs just before it selects somebody, and what that means.
struct KnownReason {
  const char* text;
  const char* reason;
};
constexpr KnownReason kReasons[] = {
    {"current recording video is turn off", "the recorded video was turned off"},
    {"current recording user is not a speaker, SwitchChannel", "speaks and has no video"},
    {"current recording user is not enable mic, SwitchChannel", "the microphone was closed"},
    {"current user unmute video, SwitchChannel", "turned the video on"},
    {"current recording user is invalid", "first picture while nobody was recorded"},
    {"current recording user is not a speaker, and found another speaker, SwitchChannel", "speaks"},
};

// The text behind "[tag][severity][function][line]", without the newline.
std::string TextOf(const char* message) {
  std::string text(message);
  size_t begin = 0;
  for (int i = 0; i < 4 && begin != std::string::npos; ++i) {
    begin = text.find(']', begin);
    if (begin != std::string::npos) ++begin;
  }
  if (begin == std::string::npos) return text;
  const size_t end = text.find_last_not_of('\n');
  return end == std::string::npos || end < begin ? "" : text.substr(begin, end + 1 - begin);
}

}  // namespace

RecorderLog::RecorderLog() : next_(LogMessage::GetCurrentLogSink()) {
  LogMessage::AddLogSink(this);
}

RecorderLog::~RecorderLog() { LogMessage::AddLogSink(next_); }

void RecorderLog::OnInfo(const std::string& text) {
  for (const KnownReason& known : kReasons) {
    if (text == known.text) reason_ = known.reason;
  }
  RecorderSelection selection;
  if (std::sscanf(text.c_str(), "new recording info: ssrc = %u, user_id = %u, type = %u",
                  &selection.ssrc, &selection.user_id, &selection.media_type) != 3) {
    return;
  }
  selection.reason = std::exchange(reason_, {});
  if (selection.reason.empty() && selection.media_type == kDesktop) {
    selection.reason = "shares the desktop";
  }
  selections_.push_back(std::move(selection));
}

void RecorderLog::OnLogMessage(const char* message, kx_utility::LoggingSeverity severity) {
  if (severity == kx_utility::LS_INFO) {
    const std::lock_guard<std::mutex> guard(lock_);
    OnInfo(TextOf(message));
  } else if (severity == kx_utility::LS_ERROR) {
    const std::lock_guard<std::mutex> guard(lock_);
    if (errors_.size() < kMaxErrors) errors_.push_back(TextOf(message));
  }
  if (next_ != nullptr) next_->OnLogMessage(message, severity);
}

void RecorderLog::SetDumpScopeLog(bool enable) {
  if (next_ != nullptr) next_->SetDumpScopeLog(enable);
}

std::vector<RecorderSelection> RecorderLog::TakeSelections() {
  const std::lock_guard<std::mutex> guard(lock_);
  return std::exchange(selections_, {});
}

std::vector<std::string> RecorderLog::TakeErrors() {
  const std::lock_guard<std::mutex> guard(lock_);
  return std::exchange(errors_, {});
}

}  // namespace kxrtc_host
