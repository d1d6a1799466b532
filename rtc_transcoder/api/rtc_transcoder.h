// The exported C functions, and with it the whole interface of the library for a host.
#ifndef RTC_TRANSCODER_API_RTC_TRANSCODER_H_
#define RTC_TRANSCODER_API_RTC_TRANSCODER_H_

#include "kx_utility/export.h"
#include "kx_utility/logging.h"

extern "C" {

// Registers `sink` for every log statement of the library, replacing the former sink; null detaches
// (kx_utility::LogMessage::AddLogSink tells how long the sink must live). Always true. Any thread.
KX_EXPORT bool SetLogSink(kx_utility::LogSink* sink);

}  // extern "C"

#endif  // RTC_TRANSCODER_API_RTC_TRANSCODER_H_
