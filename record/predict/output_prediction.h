// Predicts what the MP4 of a record shows and when: the calls of the replay, with the times that
// the MP4 writer gives them. Threads: an object belongs to one thread at a time.
#ifndef RECORD_PREDICT_OUTPUT_PREDICTION_H_
#define RECORD_PREDICT_OUTPUT_PREDICTION_H_

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "record/check/record_summary.h"
#include "record/predict/key_frame_choice.h"
#include "record/predict/output_timeline.h"
#include "record/predict/replay_simulator.h"
#include "record/timing/file_timeline.h"
#include "record/timing/icon_hold.h"

namespace kxrtc_host {

// Pictures this far behind their sound give a finding.
inline constexpr int64_t kNoticeableOffsetUs = 100000;

class OutputPrediction final : public ReplayEvents {
 public:
  // `summary` is borrowed; writes its prediction and findings. `expects_audio`: the index contains
  // audio records. `key_frames`, if not null, is borrowed too and gets the key frames of the MP4.
  OutputPrediction(RecordSummary* summary, bool expects_audio, KeyFrameChoice* key_frames)
      : summary_(summary),
        key_frames_(key_frames),
        prediction_(&summary->replay),
        timeline_(&summary->replay, &summary->findings),
        // The writer never shortens a pause of pictures that it encodes.
        file_timeline_(VideoClock::kLongestGapUs, expects_audio) {}

  void OnSessionStart(int64_t recorder_us, uint32_t media_type) override;
  void OnSessionStop() override;
  void OnChannel(int64_t recorder_us, int64_t since_anchor_us, uint32_t media_type) override;
  void OnDroppedFrame(int64_t recorder_us) override;
  void OnAttributes(uint32_t width, uint32_t height, int32_t rotation_angle) override;
  void OnFrame(int64_t output_us, const IndexRecord& record, bool is_key) override;
  void OnAudio(int64_t output_us, const IndexRecord& record) override;
  void OnFiller(int64_t recorder_us, FillerReason reason) override;
  void OnFillerPicture(int64_t output_us) override;

  // The replay ended, with or without a failure.
  void Finish(const std::optional<ReplaySimulator::Failure>& failure);

 private:
  // The times of a picture or an audio frame.
  struct Placed {
    int64_t file_us;
    int64_t recorder_us;
  };

  void EndDrops();
  int64_t PlaceVideo(int64_t output_us);
  void ShowDueIcon(int64_t file_us);
  void ShowHeldIcon();
  void NoteOffset(const Placed& picture, const Placed& audio);
  void MeasureOffsets(const std::optional<Placed>& next_audio);

  RecordSummary* summary_;
  KeyFrameChoice* key_frames_;
  ReplayPrediction* prediction_;
  OutputTimeline timeline_;
  FileTimeline file_timeline_;
  uint32_t media_type_ = 0;
  int64_t audio_file_us_ = 0;          // Of the latest audio frame, time in the file.
  int64_t audio_end_us_ = 0;           // Likewise, its end.
  std::optional<int64_t> picture_us_;  // Likewise, of the latest picture.
  std::optional<Placed> audio_;        // The latest audio frame of the session.
  std::vector<Placed> unmeasured_;     // Pictures since then.
  IconHold hold_{ClipPictures::kAll};
  OutputSpan held_icon_;                       // Starts with the icon that waits.
  bool starts_filler_ = false;                 // The next picture is the first of a filler clip.
  FillerReason filler_ = FillerReason::kNone;  // Of the latest filler clip.
  int64_t filler_recorder_us_ = 0;             // Likewise.
  uint64_t drops_ = 0;                         // In the current run.
  int64_t first_drop_us_ = 0;                  // Recorder time.
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_OUTPUT_PREDICTION_H_
