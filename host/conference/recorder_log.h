// Reads along in the library's log: whom the recorder has selected and why, and what went wrong.
// The texts are the library's interface; the recorder tells these things nowhere else.
// Threads: any.
#ifndef HOST_CONFERENCE_RECORDER_LOG_H_
#define HOST_CONFERENCE_RECORDER_LOG_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "kx_utility/logging.h"

namespace kxrtc_host {

// Whom the recorder records from some moment on.
struct RecorderSelection {
  uint32_t ssrc = 0;        // 0: no video.
  uint32_t user_id = 0;     // 0: nobody.
  uint32_t media_type = 0;  // PeerConnectionConductor::media_type.
  std::string reason;
};

// The sink of the process while it lives; passes every statement on to the sink before it.
class RecorderLog : public kx_utility::LogSink {
 public:
  RecorderLog();
  ~RecorderLog() override;
  RecorderLog(const RecorderLog&) = delete;
  RecorderLog& operator=(const RecorderLog&) = delete;

  // Take out what came since the last call: changes of the selection, texts of errors.
  std::vector<RecorderSelection> TakeSelections();
  std::vector<std::string> TakeErrors();

  void OnLogMessage(const char* message, kx_utility::LoggingSeverity severity) override;
  void SetDumpScopeLog(bool enable) override;

 private:
  void OnInfo(const std::string& text);

  kx_utility::LogSink* const next_;
  std::mutex lock_;
  std::vector<RecorderSelection> selections_;
  std::vector<std::string> errors_;
  std::string reason_;  // Of the selection that is about to be logged.
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_RECORDER_LOG_H_
