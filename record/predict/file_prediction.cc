#include "record/predict/file_prediction.h"

#include <algorithm>
#include <optional>

#include "record/timing/copied_video.h"
#include "record/timing/encoded_video.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
int64_t AudioFrames::end_us() const {
  return last_time_ < 0 ? 0 : AudioSamplesToMicroseconds(last_time_ + kSamplesPerAudioFrame);
}

void AudioFrames::Write(int64_t placed_us) {
  last_time_ = std::max(ExactAudioSamples(placed_us), last_time_ + 1);
  ++count_;
}

void AudioFrames::SettleRaw() {
  is_known_ = true;
  for (const PlacedFrame& frame : first_) Write(frame.placed_us);
}

bool AudioFrames::Recognise(SoundExaminer* examiner, uint32_t channel_count) {
  if (!is_known_ || framing_.is_adts || !examiner->Begin(kAacLowComplexity, channel_count)) {
    return true;
  }
  for (const PlacedFrame& frame : first_) {
    const uint8_t* data =
        frame.size > kMaxAacFrameSize ? nullptr : file_->View(frame.position, frame.size);
    if (data != nullptr && examiner->Decodes(data, frame.size)) return true;
    --count_;
  }
  if (count_ == 0) last_time_ = -1;
  return first_.size() < kFramesToRecognise;
}

void AudioFrames::Push(int64_t placed_us, const IndexRecord& record) {
  const uint32_t size = record.data.size;
  const uint8_t* head =
      size == 0 ? nullptr
                : file_->View(record.data.start_position, std::min(size, kAdtsHeaderSize));
  if (head == nullptr) return;
  AdtsHeader header;
  if (!is_known_ && ParseAdtsHeader(head, size, &header)) {
    is_known_ = true;
    framing_.is_adts = true;
    framing_.channels = ChannelCount(header.channel_configuration);
    first_.clear();
  } else if (!is_known_) {
    first_.push_back({placed_us, record.data.start_position, size});
    if (first_.size() == kFramesToRecognise) SettleRaw();
    return;
  }
  if (HeaderSizeOfAlike(framing_, head, size)) Write(placed_us);
}

void AudioFrames::Finish() {
  if (!is_known_ && !first_.empty()) SettleRaw();
}

void PicturesWithoutFlash::PassAttributes() {
  if (has_new_attributes_) SetAttributes();
  has_new_attributes_ = false;
}

void PicturesWithoutFlash::ShowDueIcons(int64_t time_us) {
  if (hold_.IsDue(time_us)) ShowHeldIcons();
}

void PicturesWithoutFlash::ShowHeldIcons() {
  hold_.ShowIcon();
  SetAttributes();
  for (const HeldIcon& icon : held_) Write(hold_.ShownFrom(icon.time_us), icon.contents);
  held_.clear();
}

void PicturesWithoutFlash::PushIcon(int64_t time_us, const AccessUnitContents& contents) {
  ShowDueIcons(time_us);
  if (hold_.LeavesOut(contents.idr)) return;
  if (hold_.HoldsIcon(time_us)) {
    held_.push_back({time_us, contents});
  } else {
    PassAttributes();
    Write(time_us, contents);
  }
}

void PicturesWithoutFlash::PushRecorded(int64_t time_us, const AccessUnitContents& contents) {
  ShowDueIcons(time_us);
  held_.clear();
  PassAttributes();
  Write(hold_.ShowRecorded(time_us), contents);
}

void PicturesWithoutFlash::FinishIcons(int64_t end_us) {
  if (hold_.ShowsAtEnd(end_us)) ShowHeldIcons();
}

void CopiedPictures::Write(int64_t time_us, const AccessUnitContents& contents) {
  if (selection_.Choose(contents) != CopySelection::Choice::kWrite) return;
  if (count_ > 0) time_us = std::max(time_us, last_us_ + 1);
  if (count_++ > 0) last_duration_us_ = time_us - last_us_;
  last_us_ = time_us;
  if (contents.idr && time_us <= watched_until_us_) last_key_us_ = time_us;
}

void CopiedPictures::Finish(int64_t audio_end_us) {
  FinishIcons(audio_end_us);
  if (count_ == 0) return;
  end_us_ = last_us_ + LastCopiedDurationUs(last_us_, last_duration_us_, audio_end_us);
}

// The writer shows the latest picture until shortly before an audio frame, also before one that the
// file does not contain.
void EncodedPictures::OnAudio(int64_t time_us) {
  ShowDueIcons(time_us);
  if (has_picture_) shown_until_us_ = time_us - HalfTickUs();
  ShowUntil(shown_until_us_);
}

int64_t EncodedPictures::TickTimeUs(int64_t tick) const {
  return ScaleTime(tick, kMicrosecondsPerSecond, frame_rate_);
}

// The first tick that is not before `time_us`.
int64_t EncodedPictures::TickAtOrAfter(int64_t time_us) const {
  int64_t tick = ScaleTime(time_us, frame_rate_, kMicrosecondsPerSecond);
  while (TickTimeUs(tick) < time_us) ++tick;
  while (tick > 0 && TickTimeUs(tick - 1) >= time_us) --tick;
  return tick;
}

// The last tick that is not after `time_us`.
int64_t EncodedPictures::TickAtOrBefore(int64_t time_us) const {
  const int64_t tick = TickAtOrAfter(time_us);
  return tick > 0 && TickTimeUs(tick) > time_us ? tick - 1 : tick;
}

void EncodedPictures::SetNextTick(int64_t tick) {
  next_tick_ = tick;
  next_tick_us_ = TickTimeUs(tick);
}

void EncodedPictures::ShowUntil(int64_t time_us) {
  if (!has_picture_ || time_us <= next_tick_us_) return;
  const int64_t tick = TickAtOrAfter(time_us);
  count_ += static_cast<uint64_t>(EncodedTicks(tick - next_tick_, frame_rate_));
  SetNextTick(tick);
}

void EncodedPictures::Write(int64_t time_us, const AccessUnitContents& contents) {
  last_us_ = std::max(time_us, last_us_ + 1);
  const bool is_decodable = selection_.Choose(contents) == CopySelection::Choice::kWrite;
  if (!is_decodable) return;
  ShowUntil(last_us_ - HalfTickUs());
  if (has_picture_) return;
  has_picture_ = true;
  SetNextTick(TickAtOrBefore(last_us_));
}

void EncodedPictures::Finish(int64_t audio_end_us) {
  FinishIcons(audio_end_us);
  if (!has_picture_) return;
  ShowUntil(std::max(audio_end_us, shown_until_us_));
  if (next_tick_us_ <= last_us_) ShowUntil(last_us_ + 1);
  end_us_ = next_tick_us_;
}

void FilePrediction::OnFrame(int64_t output_us, const IndexRecord& /*record*/, bool /*is_key*/) {
  const int64_t file_us = timeline_.PlaceVideo(output_us);
  copied_.PushRecorded(file_us, contents_);
  encoded_.PushRecorded(file_us, contents_);
}

void FilePrediction::OnFiller(int64_t /*recorder_us*/, FillerReason reason) {
  is_first_of_filler_ = true;
  share_stands_still_ = reason == FillerReason::kStillShare;
}

// The first picture of the clip is its key frame.
void FilePrediction::OnFillerPicture(int64_t output_us) {
  AccessUnitContents contents;
  contents.slice = true;
  contents.idr = contents.usable_sps = contents.usable_pps = is_first_of_filler_;
  is_first_of_filler_ = false;
  const int64_t file_us = timeline_.PlaceVideo(output_us);
  copied_.PushIcon(file_us, contents);
  if (!share_stands_still_) encoded_.PushIcon(file_us, contents);
}

void FilePrediction::OnAudio(int64_t output_us, const IndexRecord& record) {
  const int64_t placed_us = timeline_.PlaceAudio(output_us);
  const int64_t file_us = ExactMicroseconds(placed_us);
  copied_.OnAudio(file_us);
  encoded_.OnAudio(file_us);
  audio_.Push(placed_us, record);
}

void FilePrediction::Finish() {
  copied_.Finish(audio_.end_us());
  encoded_.Finish(audio_.end_us());
}

FileContents FilePrediction::copied() const {
  return {std::max(audio_.end_us(), copied_.end_us()), copied_.count(), audio_.count()};
}

FileContents FilePrediction::encoded() const {
  return {std::max(audio_.end_us(), encoded_.end_us()), encoded_.count(), audio_.count()};
}

}  // namespace kxrtc_host
