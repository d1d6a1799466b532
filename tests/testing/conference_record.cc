#include "tests/testing/conference_record.h"

#include <algorithm>

namespace kx_testing {
namespace {

constexpr int64_t kPictureDistanceUs = 41667;
constexpr int64_t kAudioFrameThirds = 64000;  // Thirds of a microsecond in a frame.
constexpr int64_t kTimeBetweenSessionsUs = 30000000;

}  // namespace

ConferenceRecord& ConferenceRecord::Start() {
  now_us_ += kTimeBetweenSessionsUs;
  builder_.Start(Tick());
  next_audio_us_ = now_us_ + kAudioFrameThirds / 3;
  return *this;
}

ConferenceRecord& ConferenceRecord::Stop() {
  builder_.Stop(Tick());
  return *this;
}

void ConferenceRecord::AudioUntil(int64_t time_us) {
  while (next_audio_us_ <= time_us && next_audio_ < audio_.size()) {
    now_us_ = std::max(now_us_, next_audio_us_);
    builder_.Audio(Tick(), audio_[next_audio_++]);
    audio_frame_thirds_ += kAudioFrameThirds;
    next_audio_us_ += audio_frame_thirds_ / 3;
    audio_frame_thirds_ %= 3;
  }
  now_us_ = std::max(now_us_, time_us);
}

ConferenceRecord& ConferenceRecord::AudioOnly(int ms) {
  builder_.Channel(Tick(), 0);
  AudioUntil(now_us_ + ms * int64_t{1000});
  return *this;
}

ConferenceRecord& ConferenceRecord::Gap(int ms) {
  AudioUntil(now_us_ + ms * int64_t{1000});
  return *this;
}

ConferenceRecord& ConferenceRecord::Speaks(uint32_t media_type, const VideoSpec& spec,
                                           int32_t rotation, size_t skipped_pictures) {
  const std::vector<std::string> pictures = MakeVideo(spec);
  builder_.Channel(Tick(), media_type);
  builder_.Attributes(Tick(), spec.width, spec.height, rotation);
  const int64_t start_us = now_us_;
  for (size_t i = skipped_pictures; i < pictures.size(); ++i) {
    AudioUntil(start_us + static_cast<int64_t>(i - skipped_pictures) * kPictureDistanceUs);
    builder_.Video(Tick(), pictures[i]);
    ++video_frames_;
  }
  AudioUntil(now_us_ + kPictureDistanceUs);
  return *this;
}

void WriteLongConference(const TempDir& dir, bool with_adts) {
  ConferenceRecord record(dir, MakeAudio(kLongConferenceAudioFrames, 2, with_adts));
  record.Start()
      .AudioOnly(2000)
      .Speaks(kCamera, {"anna", 640, 360, "high", 96, 48, 1, true, "blue"})
      .Speaks(kDesktop, {"desk", 1280, 720, "baseline", 96, 96, 4, false, "green"})
      .Gap(6000)
      .Speaks(kCamera, {"ben", 320, 240, "main", 72, 24, 1, false, "red"})
      .Stop();
  record.Start()
      .AudioOnly(1500)
      .Speaks(kCamera, {"cleo", 360, 640, "high", 96, 48, 1, false, "orange"}, 90)
      .AudioOnly(60000)  // As long as the audio lasts.
      .Stop();
  record.builder().Write();
}

}  // namespace kx_testing
