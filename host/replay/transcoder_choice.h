// Chooses the transcoder that can open a record.
// Threads: any.
#ifndef HOST_REPLAY_TRANSCODER_CHOICE_H_
#define HOST_REPLAY_TRANSCODER_CHOICE_H_

#include <memory>

#include "kxrtc/recording/speaker_record_transcoder.h"
#include "record/index/record_files.h"

namespace kxrtc_host {

// The library's; a ReadOnlyTranscoder for a record that may only be read.
std::shared_ptr<kxrtc::SpeakerRecordTranscoder> MakeTranscoderFor(const RecordFiles& files);

}  // namespace kxrtc_host

#endif  // HOST_REPLAY_TRANSCODER_CHOICE_H_
