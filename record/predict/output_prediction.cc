#include "record/predict/output_prediction.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "kxrtc/recording/speaker_record_transcoder.h"
#include "record/index/record_text.h"
#include "record/timing/media_time.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

using kxrtc::SaturatedAdd;
using kxrtc::SaturatedSubtract;

// Of the pictures between two audio frames, at most so many wait for the second one.
constexpr size_t kMaxUnmeasured = 1024;

// How long the last picture of a file is shown.
constexpr int64_t kLastPictureUs =
    kMicrosecondsPerSecond / kxrtc::VideoSettingsFor(false).frame_rate;

int64_t Distance(int64_t a, int64_t b) { return SaturatedSubtract(std::max(a, b), std::min(a, b)); }

}  // namespace

void OutputPrediction::OnSessionStart(int64_t recorder_us, uint32_t media_type) {
  media_type_ = media_type;
  audio_.reset();
  timeline_.Break();
  if (prediction_->sessions.size() < kMaxMarks) {
    prediction_->sessions.push_back({audio_file_us_, recorder_us, media_type});
  }
}

void OutputPrediction::OnSessionStop() { MeasureOffsets(std::nullopt); }

void OutputPrediction::OnChannel(int64_t recorder_us, int64_t since_anchor_us,
                                 uint32_t media_type) {
  EndDrops();
  media_type_ = media_type;
  timeline_.Break();
  if (prediction_->switches.size() >= kMaxMarks) return;
  const bool is_step = since_anchor_us < 0 || since_anchor_us > VideoClock::kStepUs;
  prediction_->switches.push_back(
      {SaturatedAdd(is_step ? 0 : since_anchor_us, audio_file_us_), recorder_us, media_type});
}

void OutputPrediction::OnDroppedFrame(int64_t recorder_us) {
  if (drops_++ == 0) first_drop_us_ = recorder_us;
  ++prediction_->dropped_frames;
}

void OutputPrediction::EndDrops() {
  if (drops_ == 0) return;
  summary_->findings.Add(FindingCode::kReplayDroppedFrames, first_drop_us_,
                         CountText(drops_, "delta frame") + ByCount(drops_, " is", " are") +
                             " dropped because " + ByCount(drops_, "its", "their") +
                             " key frame is missing");
  drops_ = 0;
}

// Returns the time in the file of a picture.
int64_t OutputPrediction::PlaceVideo(int64_t output_us) {
  ++prediction_->video_samples;
  picture_us_ = std::max(picture_us_.value_or(0), file_timeline_.PlaceVideo(output_us));
  return *picture_us_;
}

// Notes how late a picture is shown, compared with the sound recorded at the same time. `audio` is
// the frame to compare with.
void OutputPrediction::NoteOffset(const Placed& picture, const Placed& audio) {
  // A picture this far from all sound was recorded before a step of the clock.
  if (Distance(picture.recorder_us, audio.recorder_us) > VideoClock::kStepUs) return;
  const int64_t ideal_us =
      SaturatedAdd(audio.file_us, SaturatedSubtract(picture.recorder_us, audio.recorder_us));
  const int64_t offset_us = SaturatedSubtract(picture.file_us, ideal_us);
  if (offset_us <= prediction_->largest_offset_us) return;
  prediction_->largest_offset_us = offset_us;
  prediction_->largest_offset_time_us = picture.recorder_us;
}

// Compares each picture with the audio frame of its session that is nearer in recorder time: the
// latest one or `next_audio`.
void OutputPrediction::MeasureOffsets(const std::optional<Placed>& next_audio) {
  for (const Placed& picture : unmeasured_) {
    const bool next_is_nearer =
        next_audio && (!audio_ || Distance(picture.recorder_us, next_audio->recorder_us) <
                                      Distance(picture.recorder_us, audio_->recorder_us));
    if (next_is_nearer) {
      NoteOffset(picture, *next_audio);
    } else if (audio_) {
      NoteOffset(picture, *audio_);
    }
  }
  unmeasured_.clear();
}

void OutputPrediction::OnFiller(int64_t recorder_us, FillerReason reason) {
  ++prediction_->filler_insertions;
  starts_filler_ = true;
  filler_ = reason;
  filler_recorder_us_ = recorder_us;
}

void OutputPrediction::OnFillerPicture(int64_t output_us) {
  const int64_t file_us = PlaceVideo(output_us);
  ShowDueIcon(file_us);
  const bool starts = starts_filler_;
  starts_filler_ = false;
  const bool waits_already = hold_.is_waiting();
  if (hold_.HoldsIcon(file_us)) {
    if (!waits_already) {
      held_icon_ = {file_us, file_us, filler_, media_type_, filler_recorder_us_};
    }
  } else if (starts) {
    timeline_.Show(file_us, filler_, media_type_, filler_recorder_us_);
  }
}

void OutputPrediction::ShowDueIcon(int64_t file_us) {
  if (hold_.IsDue(file_us)) ShowHeldIcon();
}

void OutputPrediction::ShowHeldIcon() {
  hold_.ShowIcon();
  timeline_.Show(held_icon_.start_us, held_icon_.filler, held_icon_.media_type, held_icon_.time_us);
}

void OutputPrediction::OnAttributes(uint32_t, uint32_t, int32_t rotation_angle) {
  if (key_frames_ != nullptr) key_frames_->OnAttributes(rotation_angle);
}

void OutputPrediction::OnFrame(int64_t output_us, const IndexRecord& record, bool is_key) {
  EndDrops();
  const int64_t recorder_us = record.header.record_timestamp_us;
  const int64_t file_us = PlaceVideo(output_us);
  ShowDueIcon(file_us);
  if (unmeasured_.size() == kMaxUnmeasured) MeasureOffsets(std::nullopt);
  unmeasured_.push_back({file_us, recorder_us});
  timeline_.Show(hold_.ShowRecorded(file_us), FillerReason::kNone, media_type_, recorder_us);
  timeline_.AddVideo(file_us, record.data.size, is_key);
  if (is_key && key_frames_ != nullptr) key_frames_->Add(file_us, record.data);
}

void OutputPrediction::OnAudio(int64_t output_us, const IndexRecord& record) {
  ++prediction_->audio_samples;
  const int64_t placed_us = file_timeline_.PlaceAudio(output_us);
  audio_file_us_ = ExactMicroseconds(placed_us);
  ShowDueIcon(audio_file_us_);
  audio_end_us_ = ExactMicroseconds(placed_us + kxrtc::kAudioFrameDurationUs);
  timeline_.AddAudio(audio_file_us_, record.data.size);
  const Placed audio = {audio_file_us_, record.header.record_timestamp_us};
  MeasureOffsets(audio);
  audio_ = audio;
}

void OutputPrediction::Finish(const std::optional<ReplaySimulator::Failure>& failure) {
  EndDrops();
  if (hold_.ShowsAtEnd(audio_end_us_)) ShowHeldIcon();
  prediction_->start_us = file_timeline_.start_us();
  prediction_->completes = !failure;
  if (failure) {
    prediction_->failure = failure->reason;
    prediction_->failure_time_us = failure->recorder_us;
  }
  MeasureOffsets(std::nullopt);
  const int64_t pictures_end_us = picture_us_ ? *picture_us_ + kLastPictureUs : 0;
  prediction_->duration_us = std::max(audio_end_us_, pictures_end_us);
  timeline_.Finish(prediction_->duration_us);
  if (prediction_->largest_offset_us >= kNoticeableOffsetUs) {
    summary_->findings.Add(FindingCode::kReplayOffset, prediction_->largest_offset_time_us,
                           Text("pictures are up to %s behind their sound",
                                SecondsText(prediction_->largest_offset_us).c_str()));
  }
}

}  // namespace kxrtc_host
