#include "host/replay/transcoder_choice.h"

#include "host/mp4/transcoder_handle.h"
#include "host/replay/read_only_transcoder.h"

namespace kxrtc_host {

std::shared_ptr<kxrtc::SpeakerRecordTranscoder> MakeTranscoderFor(const RecordFiles& files) {
  if (IsReadOnly(files)) return std::make_shared<ReadOnlyTranscoder>();
  return MakeTranscoder();
}

}  // namespace kxrtc_host
