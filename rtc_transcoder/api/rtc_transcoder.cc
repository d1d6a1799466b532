#include "rtc_transcoder/api/rtc_transcoder.h"

#include <atomic>

#include "kx_utility/BaseUtility.h"
#include "kx_utility/failure_log.h"
#include "kxrtc/config/config_center.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"

namespace {

using kx_utility::LogMessage;

void SetUpLoggingOnce() {
  static std::atomic<bool> is_set_up{false};
  if (is_set_up.exchange(true, std::memory_order_relaxed)) return;
  LogMessage::SetLoggingTag("kxrtc");
  LogMessage::LogToDebug(kxrtc::ConfigCenter::GetConfigCenter()->GetLoggingSeverity());
}

}  // namespace

bool SetLogSink(kx_utility::LogSink* sink) {
  LogMessage::AddLogSink(sink);
  return true;
}

bool CreateSpeakerRecordTranscoder(void** transcoder) {
  SetUpLoggingOnce();
  kxrtc::SpeakerRecordTranscoder* created = new kxrtc::SpeakerRecordTranscoderImp;
  *transcoder = created;
  return true;
}

bool ReleaseSpeakerRecordTranscoder(void* transcoder) {
  kx_utility::LogFormatted(kx_utility::LS_INFO, kx_utility::Here(), "In");
  if (!kx_utility::check_pointers(1, transcoder)) {
    return kx_utility::Failed("parameters are nullptr");
  }
  delete static_cast<kxrtc::SpeakerRecordTranscoder*>(transcoder);
  return true;
}
