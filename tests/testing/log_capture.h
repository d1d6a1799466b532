// Records the log statements of the process while it lives.
#ifndef TESTS_TESTING_LOG_CAPTURE_H_
#define TESTS_TESTING_LOG_CAPTURE_H_

#include <mutex>
#include <string>
#include <vector>

#include "kx_utility/logging.h"

namespace kx_testing {

// Registers itself as the log sink and detaches when it is destroyed. Thread-safe.
class ScopedLogCapture : public kx_utility::LogSink {
 public:
  ScopedLogCapture();
  ~ScopedLogCapture() override;

  // The captured statements as "SEVERITY text": the tag, function and line are left out, e.g.
  // "ERROR failed in OpenSpeakerRecord".
  std::vector<std::string> lines() const;

  // Those of lines() that are not LS_INFO, the error cascade of a failure.
  std::vector<std::string> problems() const;

  // The captured statements whole, prefix and newline included.
  std::vector<std::string> raw() const;

  void Clear();

  // Waits until this line, as lines() shows it, was logged. False when it is not within 20 s.
  bool WaitFor(const std::string& line) const;

  void OnLogMessage(const char* message, kx_utility::LoggingSeverity severity) override;
  void SetDumpScopeLog(bool enable) override;

 private:
  mutable std::mutex lock_;
  std::vector<std::string> raw_;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_LOG_CAPTURE_H_
