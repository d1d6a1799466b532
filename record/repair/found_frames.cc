#include "record/repair/found_frames.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kxrtc/recording/replay_rules.h"
#include "record/index/frame_limit.h"

namespace kxrtc_host {
namespace {

using kxrtc::kAudioFrameDurationUs;
using kxrtc::SaturatedAdd;

constexpr int64_t kUsualPictureUs = 1000000 / kxrtc::VideoSettingsFor(false).frame_rate;

// Without the zero bytes behind the last NAL unit: overwritten or never written, they are no
// picture.
uint64_t SizeWithoutZeros(const ReadOnlyFile& file, const StreamFrame& frame) {
  constexpr uint64_t kPiece = 4096;
  std::array<uint8_t, kPiece> bytes;
  for (uint64_t end = frame.size; end > 0;) {
    const uint64_t begin = end - std::min(end, kPiece);
    const size_t size = file.Read(frame.position + begin, bytes.data(), end - begin);
    for (size_t i = size; i > 0; --i) {
      if (bytes[i - 1] != 0) return begin + i;
    }
    end = begin;
  }
  return 0;
}

}  // namespace

FoundFrames::FoundFrames(ReadOnlyFile* video, AdtsScanner* audio, const Gap& gap,
                         std::function<bool()> is_wanted)
    : video_(video),
      audio_(audio),
      gap_(gap),
      is_wanted_(std::move(is_wanted)),
      pictures_(video, gap.video.begin, gap.video.end, is_wanted_),
      sound_position_(gap.audio.begin) {
  Count();
  sound_us_ = picture_us_ = gap_.after_us;
  ReadSound();
  ReadPicture();
}

void FoundFrames::Count() {
  int64_t sounds = 0;
  for (auto sound = audio_->Find(gap_.audio.begin, gap_.audio.end); sound;
       sound = audio_->Find(sound->position + sound->size, gap_.audio.end)) {
    ++sounds;
  }
  int64_t pictures = 0;
  int64_t stream_us = 0;
  AccessUnitScanner scanner(video_, gap_.video.begin, gap_.video.end, is_wanted_);
  for (AccessUnit unit; scanner.Next(&unit); ++pictures) stream_us += unit.duration_us;
  sound_step_us_ = kAudioFrameDurationUs;
  if (gap_.before_us) {
    const int64_t time_us =
        std::max<int64_t>(0, kxrtc::SaturatedSubtract(*gap_.before_us, gap_.after_us));
    sound_step_us_ = std::min(sound_step_us_, time_us / (sounds + 1));
    picture_step_us_ = time_us / (pictures + 1);
  } else if (stream_us > 0) {
    picture_times_ = PictureTimes::kStream;
    picture_step_us_ = stream_us / pictures;  // For those without a time of their own.
  } else if (sounds > 0 && pictures > 0) {
    picture_times_ = PictureTimes::kSound;
    picture_step_us_ = sounds * kAudioFrameDurationUs / pictures;
  } else {
    picture_times_ = PictureTimes::kUsualRate;
    picture_step_us_ = kUsualPictureUs;
  }
}

void FoundFrames::ReadSound() {
  sound_ = audio_->Find(sound_position_, gap_.audio.end);
  if (!sound_) return;
  sound_position_ = sound_->position + sound_->size;
  sound_us_ = SaturatedAdd(sound_us_, sound_step_us_);
}

// Each picture is recorded when its time begins; between two records it keeps away from both.
void FoundFrames::ReadPicture() {
  const bool is_between = picture_times_ == PictureTimes::kRecords;
  if (picture_ || is_between) {
    const int64_t own_us =
        !is_between && picture_times_ == PictureTimes::kStream ? picture_->duration_us : 0;
    picture_us_ = SaturatedAdd(picture_us_, own_us > 0 ? own_us : picture_step_us_);
  }
  AccessUnit unit;
  picture_.reset();
  while (pictures_.Next(&unit)) {
    if (unit.frame.size > kMaxFrameBytes) continue;
    picture_ = unit;
    const uint64_t size = SizeWithoutZeros(*video_, unit.frame);
    constexpr uint64_t kUsualZeros =
        3;  // Of a long start code, or a stream that aligns its frames.
    if (unit.frame.size - size > kUsualZeros) picture_->frame.size = size;
    return;
  }
}

bool FoundFrames::Next(IndexRecord* record, AccessUnit* picture) {
  if (!picture_ && !sound_) return false;
  const bool is_picture = picture_ && (!sound_ || picture_us_ <= sound_us_);
  const StreamFrame& frame = is_picture ? picture_->frame : *sound_;
  *record = {};
  record->header = {is_picture ? kxrtc::kVideoData : kxrtc::kAudioData,
                    is_picture ? picture_us_ : sound_us_};
  record->data = {frame.position, static_cast<uint32_t>(frame.size)};
  if (is_picture) {
    if (picture != nullptr) *picture = *picture_;
    ReadPicture();
  } else {
    ReadSound();
  }
  return true;
}

}  // namespace kxrtc_host
