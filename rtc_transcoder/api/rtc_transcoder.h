// The exported C functions, and with it the whole interface of the library for a host that
// transcodes (docs/embedding.md).
#ifndef RTC_TRANSCODER_API_RTC_TRANSCODER_H_
#define RTC_TRANSCODER_API_RTC_TRANSCODER_H_

#include "kx_utility/export.h"
#include "kx_utility/logging.h"
#include "kxrtc/recording/media_component_factory.h"
#include "kxrtc/recording/mp4_sink_writer.h"
#include "kxrtc/recording/speaker_record_transcoder.h"

extern "C" {

// Registers `sink` for every log statement of the library, replacing the former sink; null detaches
// (kx_utility::LogMessage::AddLogSink says how long the sink must live). Always true. Any thread.
KX_EXPORT bool SetLogSink(kx_utility::LogSink* sink);

// Stores a new transcoder through `transcoder`, which must not be null, as a
// kxrtc::SpeakerRecordTranscoder*. Always true. The first call of the process also sets the log tag
// to "kxrtc" and applies the configuration file's logging severity to standard error: the host
// makes it on one thread, before others log. Throws only when memory runs out.
KX_EXPORT bool CreateSpeakerRecordTranscoder(void** transcoder);

// Stops and destroys what CreateSpeakerRecordTranscoder() stored. Null: logged, false.
// Control thread; never from a callback of the transcoder.
KX_EXPORT bool ReleaseSpeakerRecordTranscoder(void* transcoder);

}  // extern "C"

#endif  // RTC_TRANSCODER_API_RTC_TRANSCODER_H_
