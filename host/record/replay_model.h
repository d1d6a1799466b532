// Predicts what becomes of a record, record by record: the same rules that the transcoder's replay
// follows, with a reason for each stretch of filler, and then the rules of the MP4 writer for the
// time of its file. The dry run compares the calls with those of the real replay.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_REPLAY_MODEL_H_
#define HOST_RECORD_REPLAY_MODEL_H_

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "host/record/call_digest.h"
#include "host/record/index_walker.h"
#include "host/record/output_timeline.h"
#include "host/record/record_summary.h"
#include "host/shared/file_timeline.h"

namespace kxrtc_host {

// Pictures this far behind their sound are worth a finding.
inline constexpr int64_t kNoticeableOffsetUs = 100000;

class ReplayModel {
 public:
  // `summary` is borrowed: the prediction and findings are written. `expects_audio`: the index
  // holds audio records.
  ReplayModel(RecordSummary* summary, bool expects_audio)
      : summary_(summary),
        prediction_(&summary->replay),
        timeline_(&summary->replay, &summary->findings),
        // The writer never shortens a pause of pictures that it encodes.
        file_timeline_(std::numeric_limits<int64_t>::max(), expects_audio) {}

  // The next record. `readable` and `is_key` concern media records.
  void OnRecord(const IndexRecord& record, bool readable, bool is_key);

  // The index goes on with bytes that are no record.
  void OnBrokenIndex();

  void Finish();

  // The icon is shown at this point, and with it are its parameter sets in force.
  bool shows_icon() const { return icon_active_; }

 private:
  // Where a picture or an audio frame lies.
  struct Placed {
    int64_t file_us;
    int64_t time_us;  // Recorder time.
  };

  void Fail(const std::string& reason, std::optional<int64_t> time_us = std::nullopt);
  void OnChannel(const IndexRecord& record);
  void OnVideo(const IndexRecord& record, bool is_key);
  void OnAudio(const IndexRecord& record);
  void EndDrops();
  void SetAttributes(bool icon);
  void PushIcons(int64_t time_us, FillerReason reason);
  int64_t PushVideo(int64_t time_us);
  int64_t OutputTimeOf(int64_t time_us) const;
  int64_t FileTimeOf(int64_t time_us) const;
  void NoteOffset(const Placed& picture, const Placed& audio);
  void MeasureOffsets(const std::optional<Placed>& next_audio);

  RecordSummary* summary_;
  ReplayPrediction* prediction_;
  OutputTimeline timeline_;
  CallDigest digest_;
  bool failed_ = false;
  bool in_session_ = false;
  bool saw_session_ = false;

  // The state of the replay.
  int64_t anchor_us_ = 0;       // Recorder time.
  int64_t audio_clock_us_ = 0;  // Output time.
  int64_t last_video_us_ = 0;   // Output time.
  FileTimeline file_timeline_;
  int64_t audio_file_us_ = 0;       // Of the latest audio frame, time in the file.
  int64_t audio_end_us_ = 0;        // Likewise, its end.
  int64_t last_picture_us_ = 0;     // Likewise, of the latest picture.
  std::optional<Placed> audio_;     // The latest audio frame of the session.
  std::vector<Placed> unmeasured_;  // Pictures since then.
  uint32_t media_type_ = 0;
  kxrtc::NewVideoAttributesRecord attributes_;
  bool video_pushed_ = false;
  bool need_key_frame_ = true;
  bool icon_active_ = false;

  bool in_gap_ = false;        // Filled because no frame came; none has come since.
  uint64_t drops_ = 0;         // Of the present run.
  int64_t first_drop_us_ = 0;  // Recorder time.
};

}  // namespace kxrtc_host

#endif  // HOST_RECORD_REPLAY_MODEL_H_
