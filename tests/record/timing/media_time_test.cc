#include "record/timing/media_time.h"

#include <gtest/gtest.h>

namespace kxrtc_host {
namespace {

constexpr int64_t kDayFrames = 24 * 3600 * kAudioSampleRate / kSamplesPerAudioFrame;

TEST(MediaTimeTest, EachAudioFrameOfADayLiesOnItsSample) {
  for (int64_t frame = 0; frame <= kDayFrames; ++frame) {
    ASSERT_EQ(ExactAudioSamples(frame * 21333), frame * 1024);
  }
}

TEST(MediaTimeTest, AudioAndVideoOfOneTimestampStayWithinAMicrosecond) {
  for (int64_t frame = 0; frame <= kDayFrames; frame += 997) {
    const int64_t audio_us = AudioSamplesToMicroseconds(ExactAudioSamples(frame * 21333));
    ASSERT_LE(std::abs(audio_us - ExactMicroseconds(frame * 21333)), 1) << frame;
  }
}

TEST(MediaTimeTest, ADayIsStretchedBy1350Milliseconds) {
  EXPECT_EQ(ExactMicroseconds(86398650000), 86400000000);
}

TEST(ScaleTimeTest, RoundsToNearestOnBothSidesOfZero) {
  EXPECT_EQ(ScaleTime(5, 1, 10), 1);
  EXPECT_EQ(ScaleTime(4, 1, 10), 0);
  EXPECT_EQ(ScaleTime(-4, 1, 10), 0);
  EXPECT_EQ(ScaleTime(-6, 1, 10), -1);
}

TEST(ScaleTimeTest, TakesTheLargestTimes) {
  EXPECT_EQ(ScaleTime(INT64_MAX, 1, 1), INT64_MAX);
  EXPECT_EQ(ScaleTime(INT64_MAX, 1000000, 1000000), INT64_MAX);
}

}  // namespace
}  // namespace kxrtc_host
