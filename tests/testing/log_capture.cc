#include "tests/testing/log_capture.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace kx_testing {
namespace {

// "[tag][SEVERITY][function][line]text\n" -> "SEVERITY text".
std::string WithoutPlace(const std::string& raw) {
  size_t start = 0;
  std::string severity;
  for (int field = 0; field < 4; ++field) {
    const size_t end = raw.find(']', start);
    if (end == std::string::npos) return raw;
    if (field == 1) severity = raw.substr(start + 1, end - start - 1);
    start = end + 1;
  }
  std::string text = raw.substr(start);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return severity + " " + text;
}

}  // namespace

ScopedLogCapture::ScopedLogCapture() { kx_utility::LogMessage::AddLogSink(this); }

ScopedLogCapture::~ScopedLogCapture() { kx_utility::LogMessage::AddLogSink(nullptr); }

std::vector<std::string> ScopedLogCapture::lines() const {
  std::vector<std::string> result = raw();
  std::transform(result.begin(), result.end(), result.begin(), WithoutPlace);
  return result;
}

std::vector<std::string> ScopedLogCapture::problems() const {
  std::vector<std::string> result = lines();
  result.erase(std::remove_if(result.begin(), result.end(),
                              [](const std::string& line) { return line.rfind("INFO ", 0) == 0; }),
               result.end());
  return result;
}

std::vector<std::string> ScopedLogCapture::raw() const {
  std::lock_guard<std::mutex> guard(lock_);
  return raw_;
}

void ScopedLogCapture::Clear() {
  std::lock_guard<std::mutex> guard(lock_);
  raw_.clear();
}

bool ScopedLogCapture::WaitFor(const std::string& line) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    const std::vector<std::string> logged = lines();
    if (std::find(logged.begin(), logged.end(), line) != logged.end()) return true;
    std::this_thread::yield();
  }
  return false;
}

void ScopedLogCapture::OnLogMessage(const char* message, kx_utility::LoggingSeverity) {
  std::lock_guard<std::mutex> guard(lock_);
  raw_.emplace_back(message);
}

void ScopedLogCapture::SetDumpScopeLog(bool) {}

}  // namespace kx_testing
