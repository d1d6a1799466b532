// A program outside of the tree: links the installed library and calls it.
#include <cstdio>
#include <string>

#include "rtc_transcoder/api/rtc_transcoder.h"

namespace {

class CountingSink : public kx_utility::LogSink {
 public:
  void OnLogMessage(const char*, kx_utility::LoggingSeverity) override { ++messages; }
  void SetDumpScopeLog(bool) override {}

  int messages = 0;
};

}  // namespace

int main() {
  CountingSink sink;
  if (!SetLogSink(&sink)) return 1;
  kx_utility::LogMessage(__FILE__, __func__, __LINE__, kx_utility::LS_INFO) << "linked";
  SetLogSink(nullptr);
  std::printf("%d message\n", sink.messages);
  return sink.messages == 1 ? 0 : 1;
}
