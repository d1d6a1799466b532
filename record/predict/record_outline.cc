#include "record/predict/record_outline.h"

#include <algorithm>
#include <optional>

#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kMaxRecordedUs = 1000000000000000;  // 30 years.

// Sums up the records. The times can be any number.
class Outliner {
 public:
  explicit Outliner(RecordOutline* outline) : outline_(outline) {}

  void OnRecord(const IndexRecord& record) {
    const int64_t time_us = record.header.record_timestamp_us;
    switch (record.header.type) {
      case kxrtc::kStartRecording:
        EndSpan();
        start_us_ = time_us;
        ++outline_->sessions;
        break;
      case kxrtc::kNewChannel:
        if (record.channel.media_type == 0) ++outline_->switches_to_audio_only;
        break;
      case kxrtc::kVideoData:
        ++outline_->video_frames;
        outline_->media_bytes += record.data.size;
        break;
      case kxrtc::kAudioData:
        ++outline_->audio_frames;
        outline_->media_bytes += record.data.size;
        break;
      default:
        break;
    }
    last_us_ = time_us;
  }

  void EndSpan() {
    if (start_us_ < 0 || last_us_ < start_us_) return;
    outline_->recorded_us = std::min(
        kMaxRecordedUs, outline_->recorded_us + std::min(kMaxRecordedUs, last_us_ - start_us_));
  }

 private:
  RecordOutline* outline_;
  int64_t start_us_ = 0;  // Of the session.
  int64_t last_us_ = 0;   // Of the latest record.
};

}  // namespace

RecordOutline ReadRecordOutline(RecordFiles* files, uint32_t max_frame_bytes) {
  RecordOutline outline;
  Outliner outliner(&outline);
  IndexState state(&files->video, &files->audio);
  IndexWalker walker(&files->index);
  IndexRecord record;
  std::optional<ReplayEnd> end;
  while (!end) {
    const IndexWalker::Step step = walker.Next(&record);
    if (step != IndexWalker::Step::kRecord) {
      end = EndAtStep(step, record.offset, state.in_session(), outline.sessions);
      break;
    }
    end = EndAtRecord(record, state.FaultOf(record), max_frame_bytes);
    if (!end) outliner.OnRecord(record);
    state.Take(record);
  }
  outliner.EndSpan();
  outline.end = end->end;
  outline.end_reason = end->reason;
  return outline;
}

int64_t MediaDurationUs(const RecordOutline& outline) {
  return AudioSamplesToMicroseconds(static_cast<int64_t>(outline.audio_frames) *
                                    kSamplesPerAudioFrame);
}

}  // namespace kxrtc_host
