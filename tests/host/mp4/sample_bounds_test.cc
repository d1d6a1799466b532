#include "host/mp4/sample_bounds.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace kxrtc_host {
namespace {

TEST(SampleBoundsTest, BoundsCountTheFillerAndTheTicksOfTheEncoder) {
  RecordOutline outline;
  outline.video_frames = 100;
  outline.audio_frames = 468750;  // 10000 s.
  outline.sessions = 1;
  outline.switches_to_audio_only = 1;
  outline.media_bytes = 1000;
  const SampleBounds copy = BoundsOf(outline, VideoMode::kCopy);
  EXPECT_EQ(copy.video_samples, 100 + 20000 + 3u);
  EXPECT_EQ(copy.audio_frames, 468750u);
  EXPECT_EQ(copy.bytes, 1000u);
  const SampleBounds encode = BoundsOf(outline, VideoMode::kEncode);
  EXPECT_EQ(encode.video_samples, 10002 * 24u);
  EXPECT_EQ(encode.audio_frames, 468750u);
  EXPECT_EQ(encode.bytes, 1000 + uint64_t{10002} * 1200000 / 8);
}

TEST(SampleBoundsTest, TheTicksFollowTheChosenFrameRate) {
  RecordOutline outline;
  outline.audio_frames = 468750;  // 10000 s.
  PictureChoice choice;
  choice.frame_rate = 60;
  choice.bit_rate_kbps = 5000;
  const SampleBounds encode = BoundsOf(outline, VideoMode::kEncode, choice);
  EXPECT_EQ(encode.video_samples, 10002 * 60u);
  EXPECT_EQ(encode.bytes, uint64_t{10002} * 5000000 / 8);
}

// Up to an hour more than twice the sound.
TEST(SampleBoundsTest, TheTicksGoOnWithWhatWasRecorded) {
  struct TimeCase {
    int64_t recorded_us;
    uint64_t seconds;
  };
  for (const TimeCase& test : {TimeCase{0, 102}, TimeCase{150999999, 152},
                               TimeCase{3800000000, 3802}, TimeCase{3801000000, 3802}}) {
    RecordOutline outline;
    outline.audio_frames = 4688;  // 100.01 s.
    outline.recorded_us = test.recorded_us;
    EXPECT_EQ(BoundsOf(outline, VideoMode::kEncode).video_samples, test.seconds * 24)
        << test.recorded_us;
  }
}

TEST(SampleBoundsTest, TimesThatCannotBeDoNotMakeTheBoundsGrow) {
  RecordOutline outline;
  outline.audio_frames = 1;
  outline.sessions = 3;
  outline.recorded_us = INT64_MAX;
  EXPECT_LE(BoundsOf(outline, VideoMode::kEncode).video_samples, 3603 * 24u);
}

}  // namespace
}  // namespace kxrtc_host
