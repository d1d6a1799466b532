#include "record/timing/file_timeline.h"

#include <gtest/gtest.h>

#include <limits>

#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kHourOfFrames = 168750 * int64_t{21333};

TEST(TimelineStartTest, LeavesANaturalStart) {
  TimelineStart start;
  EXPECT_EQ(start.RebaseVideo(10000), 10000);
  EXPECT_EQ(start.RebaseVideo(5000000), 5000000);
}

TEST(TimelineStartTest, MovesAFarStartByWholeAudioFrames) {
  TimelineStart start;
  EXPECT_EQ(start.RebaseVideo(kHourOfFrames + 10000), 10000);
  EXPECT_EQ(start.RebaseAudio(kHourOfFrames + 21333), 21333);
}

TEST(TimelineStartTest, ASecondIsNotFarYet) {
  TimelineStart near;
  EXPECT_EQ(near.RebaseVideo(1000000), 1000000);
  TimelineStart far;
  EXPECT_LT(far.RebaseVideo(1000001), 21333);
}

TEST(TimelineStartTest, MovesANegativeStartToItsPlace) {
  TimelineStart start;
  EXPECT_EQ(start.RebaseVideo(-21333 * 10), 0);
  EXPECT_EQ(start.RebaseVideo(-21333 * 9), 21333);
}

TEST(TimelineStartTest, ALatePictureDoesNotMoveTheSoundThatFollows) {
  TimelineStart start;
  const int64_t late = 10000000 / 21333 * 21333;
  EXPECT_EQ(start.RebaseVideo(late + 5), 5);
  EXPECT_EQ(start.RebaseVideo(late + 10005), 10005);
  EXPECT_EQ(start.RebaseAudio(21333), 21333);
  EXPECT_EQ(start.RebaseVideo(late + 20005), late + 20005);
  EXPECT_EQ(start.RebaseAudio(42666), 42666);
}

TEST(TimelineStartTest, ALatePictureOfASecondRunMovesTheSoundToTheStart) {
  TimelineStart start;
  start.RebaseVideo(kHourOfFrames + 5000000);
  EXPECT_EQ(start.RebaseAudio(kHourOfFrames + 21333), 0);
  EXPECT_EQ(start.RebaseAudio(kHourOfFrames + 42666), 21333);
}

TEST(FileTimelineTest, StretchesPicturesAndKeepsTheGridOfAudio) {
  FileTimeline timeline(std::numeric_limits<int64_t>::max(), false);
  EXPECT_EQ(timeline.PlaceAudio(21333), 21333);
  EXPECT_EQ(timeline.PlaceVideo(63999), 64000);
}

TEST(FileTimelineTest, WhatIsEarlierThanTheStartStandsThere) {
  FileTimeline timeline(std::numeric_limits<int64_t>::max(), false);
  EXPECT_EQ(timeline.PlaceAudio(0), 0);
  EXPECT_EQ(timeline.PlaceVideo(-5), 0);
}

TEST(FileTimelineTest, PicturesAfterAStepOfTheClockFollowTheAudio) {
  FileTimeline timeline(std::numeric_limits<int64_t>::max(), false);
  timeline.PlaceAudio(21333);
  EXPECT_EQ(timeline.PlaceVideo(3600000000), ExactMicroseconds(21333));
}

TEST(FileTimelineTest, PicturesOfADamagedRecordStayInRange) {
  for (const int64_t time_us : {std::numeric_limits<int64_t>::min(), -kMaxOutputTimeUs,
                                kMaxOutputTimeUs, std::numeric_limits<int64_t>::max()}) {
    FileTimeline timeline(std::numeric_limits<int64_t>::max(), false);
    timeline.PlaceVideo(10000);
    EXPECT_GE(timeline.PlaceVideo(time_us), 0);
    EXPECT_GE(timeline.PlaceAudio(time_us), 0);
    EXPECT_GE(timeline.PlaceVideo(time_us), 0);
  }
}

}  // namespace
}  // namespace kxrtc_host
