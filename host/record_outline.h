// What one look through the index of a record tells before it is replayed.
#ifndef HOST_RECORD_OUTLINE_H_
#define HOST_RECORD_OUTLINE_H_

#include <cstdint>
#include <string>

#include "host/mp4_muxer.h"
#include "host/mp4_sink_writer_imp.h"
#include "host/shared/frame_limit.h"

namespace kxrtc_host {

enum class RecordEnd {
  kComplete,       // The index ends behind a stop record.
  kCutShort,       // It ends without one or inside a record: the recording host crashed. A replay
                   // yields everything up to there.
  kFrameMissing,   // A frame has no bytes (any more). A replay yields everything up to there.
  kFrameTooLarge,  // A frame has more than kMaxFrameBytes, which no encoder makes.
  kDamaged,        // It breaks the rules of the format; a replay stops there.
};

struct RecordOutline {
  RecordEnd end = RecordEnd::kCutShort;
  uint64_t video_frames = 0;  // Up to that end.
  uint64_t audio_frames = 0;
  uint64_t media_bytes = 0;  // Of those frames.
  uint64_t sessions = 0;
  uint64_t switches_to_audio_only = 0;
  int64_t recorded_us = 0;  // From the first to the last record of each session, summed up.
};

// Reads the index of the record in `folder` (trailing separator included) and the sizes of its data
// files. False: a file cannot be opened. Any thread.
[[nodiscard]] bool ReadRecordOutline(const std::string& folder, RecordOutline* outline);

// How many samples the replay of that record will push at most, the filler clip included, or the
// encoder will make of them.
SampleBounds BoundsOf(const RecordOutline& outline, VideoMode mode);

// How long the MP4 will be: the audio gives the time.
int64_t MediaDurationUs(const RecordOutline& outline);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_OUTLINE_H_
