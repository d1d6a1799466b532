#include "host/record/replay_model.h"

#include <algorithm>

#include "host/record/text.h"
#include "host/shared/media_time.h"
#include "kxrtc/recording/speaker_record_transcoder.h"

namespace kxrtc_host {
namespace {

using kxrtc::kAudioFrameDurationUs;

constexpr int64_t kMinVideoSpacingUs = 10000;
constexpr int64_t kGapLimitUs = 5000000;
constexpr int64_t kGapLimitWaitingUs = 500000;
constexpr int kIconFrameCount = 8;
constexpr int64_t kIconSpacingUs = 10000;
constexpr uint32_t kIconWidth = 640;
constexpr uint32_t kIconHeight = 360;

// Pictures that are measured against the audio frame behind them, of those between two.
constexpr size_t kMaxUnmeasured = 1024;

// How long the last picture of a file stays.
constexpr int64_t kLastPictureUs = kMicrosecondsPerSecond / 24;

int64_t Distance(int64_t a, int64_t b) { return SaturatedSubtract(std::max(a, b), std::min(a, b)); }

}  // namespace

void ReplayModel::Fail(const std::string& reason, std::optional<int64_t> time_us) {
  failed_ = true;
  prediction_->failure = reason;
  prediction_->failure_time_us = time_us;
}

void ReplayModel::OnBrokenIndex() {
  if (!failed_) Fail("the index goes on with bytes that are no record");
}

void ReplayModel::OnRecord(const IndexRecord& record, bool readable, bool is_key) {
  if (failed_) return;
  const uint32_t type = record.header.type;
  const auto fail = [this, &record](const char* reason) {
    Fail(Text("at index offset %llu: %s", static_cast<unsigned long long>(record.offset), reason),
         record.header.record_timestamp_us);
  };
  if (!in_session_) {
    if (type != kxrtc::kStartRecording) return fail("a session without start record");
    in_session_ = saw_session_ = need_key_frame_ = true;
    icon_active_ = false;
    anchor_us_ = record.header.record_timestamp_us;
    audio_.reset();
    timeline_.Break();
    if (prediction_->sessions.size() < kMaxMarks) {
      prediction_->sessions.push_back({audio_file_us_, anchor_us_, media_type_});
    }
    return;
  }
  if (record.IsMedia() && !readable) return fail("the frame is not in its file");
  switch (type) {
    case kxrtc::kStopRecording:
      MeasureOffsets(std::nullopt);
      in_session_ = false;
      return;
    case kxrtc::kNewChannel:
      return OnChannel(record);
    case kxrtc::kNewVideoAttributes:
      if (media_type_ == 0) return fail("attributes without a video channel");
      attributes_ = record.attributes;
      return SetAttributes(false);
    case kxrtc::kVideoData:
      if (media_type_ == 0) return fail("a video frame without a video channel");
      return OnVideo(record, is_key);
    case kxrtc::kAudioData:
      return OnAudio(record);
    default:
      return fail("an unexpected record type");
  }
}

void ReplayModel::SetAttributes(bool icon) {
  icon_active_ = icon;
  if (icon) {
    digest_.AddAttributes(kIconWidth, kIconHeight, 0);
  } else {
    digest_.AddAttributes(attributes_.width, attributes_.height, attributes_.rotation_angle);
  }
}

int64_t ReplayModel::OutputTimeOf(int64_t time_us) const {
  return SaturatedAdd(std::max<int64_t>(0, SaturatedSubtract(time_us, anchor_us_)),
                      audio_clock_us_);
}

// Where in the file lies what is recorded at this time, unless the recorder's clock just stepped.
int64_t ReplayModel::FileTimeOf(int64_t time_us) const {
  const int64_t since_us = SaturatedSubtract(time_us, anchor_us_);
  const bool is_step = since_us < 0 || since_us > VideoClock::kStepUs;
  return SaturatedAdd(is_step ? 0 : since_us, audio_file_us_);
}

// Hands a picture to the writer. Answers where in the file it is shown.
int64_t ReplayModel::PushVideo(int64_t time_us) {
  last_video_us_ =
      std::max(OutputTimeOf(time_us), SaturatedAdd(last_video_us_, kMinVideoSpacingUs));
  digest_.AddVideo(last_video_us_);
  video_pushed_ = true;
  ++prediction_->video_samples;
  last_picture_us_ = std::max(last_picture_us_, file_timeline_.PlaceVideo(last_video_us_));
  return last_picture_us_;
}

// Notes how far a picture is shown behind the sound that was recorded with it, as told by an audio
// frame.
void ReplayModel::NoteOffset(const Placed& picture, const Placed& audio) {
  // So far from all sound it was recorded in front of a step of the clock.
  if (Distance(picture.time_us, audio.time_us) > VideoClock::kStepUs) return;
  const int64_t ideal_us =
      SaturatedAdd(audio.file_us, SaturatedSubtract(picture.time_us, audio.time_us));
  const int64_t offset_us = SaturatedSubtract(picture.file_us, ideal_us);
  if (offset_us <= prediction_->largest_offset_us) return;
  prediction_->largest_offset_us = offset_us;
  prediction_->largest_offset_time_us = picture.time_us;
}

// Measures each picture against the audio frame of its session that is nearer in recorder time: the
// latest one or the one that comes now.
void ReplayModel::MeasureOffsets(const std::optional<Placed>& next_audio) {
  for (const Placed& picture : unmeasured_) {
    const bool next_is_nearer =
        next_audio && (!audio_ || Distance(picture.time_us, next_audio->time_us) <
                                      Distance(picture.time_us, audio_->time_us));
    if (next_is_nearer) {
      NoteOffset(picture, *next_audio);
    } else if (audio_) {
      NoteOffset(picture, *audio_);
    }
  }
  unmeasured_.clear();
}

void ReplayModel::PushIcons(int64_t time_us, FillerReason reason) {
  ++prediction_->filler_insertions;
  for (int i = 0; i < kIconFrameCount; ++i) {
    const int64_t file_us = PushVideo(SaturatedAdd(time_us, i * kIconSpacingUs));
    if (i == 0) timeline_.Show(file_us, reason, media_type_, time_us);
  }
}

void ReplayModel::OnChannel(const IndexRecord& record) {
  EndDrops();
  const int64_t time_us = record.header.record_timestamp_us;
  media_type_ = record.channel.media_type;
  in_gap_ = false;
  timeline_.Break();
  if (prediction_->switches.size() < kMaxMarks) {
    prediction_->switches.push_back({FileTimeOf(time_us), time_us, media_type_});
  }
  if (media_type_ == 0) {
    SetAttributes(true);
    PushIcons(time_us, FillerReason::kAudioOnly);
  }
  need_key_frame_ = true;
}

void ReplayModel::EndDrops() {
  if (drops_ == 0) return;
  summary_->findings.Add(FindingCode::kReplayDroppedFrames, first_drop_us_,
                         Text("%llu delta frames are dropped because their key frame is missing",
                              static_cast<unsigned long long>(drops_)));
  drops_ = 0;
}

void ReplayModel::OnVideo(const IndexRecord& record, bool is_key) {
  const int64_t time_us = record.header.record_timestamp_us;
  in_gap_ = false;
  if (need_key_frame_) {
    if (!is_key) {
      if (drops_++ == 0) first_drop_us_ = time_us;
      ++prediction_->dropped_frames;
      return;
    }
    EndDrops();
    if (icon_active_) SetAttributes(false);
    need_key_frame_ = false;
  }
  const int64_t file_us = PushVideo(time_us);
  if (unmeasured_.size() == kMaxUnmeasured) MeasureOffsets(std::nullopt);
  unmeasured_.push_back({file_us, time_us});
  timeline_.Show(file_us, FillerReason::kNone, media_type_, time_us);
  timeline_.AddVideo(file_us, record.data.size, is_key);
}

void ReplayModel::OnAudio(const IndexRecord& record) {
  const int64_t time_us = record.header.record_timestamp_us;
  anchor_us_ = time_us;
  audio_clock_us_ = SaturatedAdd(audio_clock_us_, kAudioFrameDurationUs);
  digest_.AddAudio(audio_clock_us_, record.data.size);
  ++prediction_->audio_samples;
  const int64_t placed_us = file_timeline_.PlaceAudio(audio_clock_us_);
  audio_file_us_ = ExactMicroseconds(placed_us);
  audio_end_us_ = ExactMicroseconds(placed_us + kAudioFrameDurationUs);
  timeline_.AddAudio(audio_file_us_, record.data.size);
  const Placed audio = {audio_file_us_, time_us};
  MeasureOffsets(audio);
  audio_ = audio;
  const int64_t limit_us = need_key_frame_ ? kGapLimitWaitingUs : kGapLimitUs;
  if (video_pushed_ && audio_clock_us_ <= SaturatedAdd(last_video_us_, limit_us)) return;
  in_gap_ = in_gap_ || !need_key_frame_;
  FillerReason reason = FillerReason::kWaitingForKeyFrame;
  if (in_gap_) reason = FillerReason::kGap;
  if (media_type_ == 0) reason = FillerReason::kAudioOnly;
  if (!icon_active_) SetAttributes(true);
  PushIcons(time_us, reason);
  need_key_frame_ = true;
}

void ReplayModel::Finish() {
  EndDrops();
  if (!failed_ && in_session_) Fail("the index ends without a stop record");
  if (!failed_ && !saw_session_) Fail("the index holds no session");
  if (!failed_ && prediction_->audio_samples + prediction_->video_samples == 0) {
    summary_->findings.Add(FindingCode::kReplayNothing, std::nullopt,
                           "the record holds no frame: there is nothing to make an MP4 of");
  }
  prediction_->completes = !failed_;
  prediction_->call_digest = digest_.value();
  MeasureOffsets(std::nullopt);
  const int64_t pictures_end_us = video_pushed_ ? last_picture_us_ + kLastPictureUs : 0;
  prediction_->duration_us = std::max(audio_end_us_, pictures_end_us);
  timeline_.Finish(prediction_->duration_us);
  if (prediction_->largest_offset_us >= kNoticeableOffsetUs) {
    summary_->findings.Add(FindingCode::kReplayOffset, prediction_->largest_offset_time_us,
                           Text("pictures are up to %s behind their sound",
                                SecondsText(prediction_->largest_offset_us).c_str()));
  }
}

}  // namespace kxrtc_host
