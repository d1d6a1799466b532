// A program outside of the tree: links the installed library and calls it.
#include <cstdio>

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
  void* object = nullptr;
  if (!CreateSpeakerRecordTranscoder(&object)) return 1;
  auto* transcoder = static_cast<kxrtc::SpeakerRecordTranscoder*>(object);
  long long size = 0;
  const bool has_size = transcoder->EstimateOutputSize("no/such/record/", &size);
  const bool is_released = ReleaseSpeakerRecordTranscoder(object);
  SetLogSink(nullptr);
  std::printf("%d messages\n", sink.messages);
  return !has_size && is_released && sink.messages > 0 ? 0 : 1;
}
