#include "rtc_transcoder/api/rtc_transcoder.h"

bool SetLogSink(kx_utility::LogSink* sink) {
  kx_utility::LogMessage::AddLogSink(sink);
  return true;
}
