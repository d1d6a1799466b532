// Has the audio frames that the MP4 will contain tried with a decoder.
// Threads: any.
#ifndef RECORD_CHECK_SOUND_CHECK_H_
#define RECORD_CHECK_SOUND_CHECK_H_

#include "record/check/damaged_sound.h"
#include "record/check/record_summary.h"
#include "record/check/sound_examiner.h"
#include "record/index/record_files.h"

namespace kxrtc_host {

// Call when `summary` is complete but for this: it needs the audio format and the descriptor. Adds
// a finding for each run of frames that do not decode. `damaged`, if not null, gets these frames.
void CheckSound(RecordFiles* files, SoundExaminer* examiner, RecordSummary* summary,
                DamagedSound* damaged);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_SOUND_CHECK_H_
