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
