// A summary of the index of a record, as far as a replay comes.
#ifndef RECORD_PREDICT_RECORD_OUTLINE_H_
#define RECORD_PREDICT_RECORD_OUTLINE_H_

#include <cstdint>

#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
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

// Makes the outline from the steps of a walk over the index. After the end of the replay nothing
// more counts. Threads: an object belongs to one thread at a time.
class RecordOutliner {
 public:
  // `max_frame_bytes`: what a frame may have.
  explicit RecordOutliner(uint32_t max_frame_bytes = kMaxFrameBytes)
      : max_frame_bytes_(max_frame_bytes) {}

  // The next record, which has `fault` in its place.
  void OnRecord(const IndexRecord& record, RecordFault fault);

  // Any other step of the walker at `offset`. `in_session`: a session is open.
  void OnStep(IndexWalker::Step step, uint64_t offset, bool in_session);

  bool has_ended() const { return has_ended_; }
  const RecordOutline& outline() const { return outline_; }  // After the end.

 private:
  void Count(const IndexRecord& record);
  void EndSpan();
  void End(const ReplayEnd& end);

  const uint32_t max_frame_bytes_;
  RecordOutline outline_;
  bool has_ended_ = false;
  int64_t start_us_ = 0;  // Of the session.
  int64_t last_us_ = 0;   // Of the latest record.
};

// Reads the index up to its end or to the first record at which a replay stops. `max_frame_bytes`:
// what a frame may have. Any thread.
RecordOutline ReadRecordOutline(RecordFiles* files, uint32_t max_frame_bytes = kMaxFrameBytes);

// True when a replay comes to an audio frame. Reads the index up to the first one. Any thread.
bool ReplaysAudio(RecordFiles* files);

// How long the MP4 will be: the audio gives the time.
int64_t MediaDurationUs(const RecordOutline& outline);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_RECORD_OUTLINE_H_
