// A summary of the index of a record, made before the replay.
#ifndef RECORD_PREDICT_RECORD_OUTLINE_H_
#define RECORD_PREDICT_RECORD_OUTLINE_H_

#include <cstdint>

#include "record/index/frame_limit.h"
#include "record/index/record_files.h"
#include "record/predict/replay_end.h"

namespace kxrtc_host {

struct RecordOutline {
  RecordEnd end = RecordEnd::kCutShort;
  std::string end_reason;     // What is wrong there; empty for kComplete.
  uint64_t video_frames = 0;  // Before that end.
  uint64_t audio_frames = 0;
  uint64_t media_bytes = 0;  // Of those frames.
  uint64_t sessions = 0;
  uint64_t switches_to_audio_only = 0;
  int64_t recorded_us = 0;  // From the first to the last record of each session, summed up.
};

// Reads the index up to its end or to the first record at which a replay stops. `max_frame_bytes`:
// what a frame may have. Any thread.
RecordOutline ReadRecordOutline(RecordFiles* files, uint32_t max_frame_bytes = kMaxFrameBytes);

// How long the MP4 will be: the audio gives the time.
int64_t MediaDurationUs(const RecordOutline& outline);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_RECORD_OUTLINE_H_
