#include "record/predict/output_timeline.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/testing/record_builder.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::kDesktop;
using testing::ElementsAre;

class OutputTimelineTest : public testing::Test {
 protected:
  // Each span as "start-end kind".
  std::vector<std::string> Spans() const {
    std::vector<std::string> spans;
    for (const OutputSpan& span : prediction_.spans) {
      const std::string kind = span.filler == FillerReason::kNone
                                   ? "channel " + std::to_string(span.media_type)
                                   : FillerReasonName(span.filler);
      spans.push_back(std::to_string(span.start_us) + "-" + std::to_string(span.end_us) + " " +
                      kind);
    }
    return spans;
  }

  ReplayPrediction prediction_;
  FindingList findings_;
  OutputTimeline timeline_{&prediction_, &findings_};
};

TEST_F(OutputTimelineTest, SumsUpSlicesOfTime) {
  timeline_.AddVideo(0, 10, true);
  timeline_.AddVideo(kFirstBucketUs - 1, 20, false);
  timeline_.AddVideo(kFirstBucketUs, 40, false);
  timeline_.AddAudio(3 * kFirstBucketUs, 5);
  timeline_.AddAudio(-7, 3);  // Before the start: of the first slice.
  ASSERT_EQ(prediction_.bucket_us, kFirstBucketUs);
  ASSERT_EQ(prediction_.buckets.size(), 4u);
  EXPECT_EQ(prediction_.buckets[0].video_bytes, 30u);
  EXPECT_EQ(prediction_.buckets[0].video_frames, 2u);
  EXPECT_EQ(prediction_.buckets[0].key_frames, 1u);
  EXPECT_EQ(prediction_.buckets[0].audio_bytes, 3u);
  EXPECT_EQ(prediction_.buckets[1].video_bytes, 40u);
  EXPECT_EQ(prediction_.buckets[1].key_frames, 0u);
  EXPECT_EQ(prediction_.buckets[2].video_frames, 0u);
  EXPECT_EQ(prediction_.buckets[3].audio_bytes, 5u);
  EXPECT_THAT(prediction_.key_frames_us, ElementsAre(0));
}

// At the limit two slices become one, and what lies behind the limit goes where it belongs.
TEST_F(OutputTimelineTest, MergesSlicesInPairs) {
  for (size_t i = 0; i < kMaxBuckets; ++i) {
    const auto time_us = static_cast<int64_t>(i) * kFirstBucketUs;
    timeline_.AddVideo(time_us, static_cast<uint32_t>(i), i % 3 == 0);
    timeline_.AddAudio(time_us, static_cast<uint32_t>(2 * i));
  }
  EXPECT_EQ(prediction_.bucket_us, kFirstBucketUs);
  EXPECT_EQ(prediction_.buckets.size(), kMaxBuckets);
  timeline_.AddVideo(static_cast<int64_t>(kMaxBuckets) * kFirstBucketUs, 7, true);
  EXPECT_EQ(prediction_.bucket_us, 2 * kFirstBucketUs);
  ASSERT_EQ(prediction_.buckets.size(), kMaxBuckets / 2 + 1);
  for (size_t i = 0; i < kMaxBuckets / 2; ++i) {
    const OutputBucket& bucket = prediction_.buckets[i];
    ASSERT_EQ(bucket.video_bytes, 4 * i + 1);
    ASSERT_EQ(bucket.audio_bytes, 8 * i + 2);
    ASSERT_EQ(bucket.video_frames, 2u);
    ASSERT_EQ(bucket.key_frames, (2 * i % 3 == 0) + ((2 * i + 1) % 3 == 0) + 0u);
  }
  EXPECT_EQ(prediction_.buckets.back().video_bytes, 7u);
}

TEST_F(OutputTimelineTest, MergesAnOddNumberOfSlices) {
  for (int64_t i = 0; i < 3; ++i) timeline_.AddVideo(i * kFirstBucketUs, 1 << i, false);
  timeline_.AddVideo(static_cast<int64_t>(kMaxBuckets) * kFirstBucketUs, 8, false);
  EXPECT_EQ(prediction_.buckets[0].video_bytes, 3u);
  EXPECT_EQ(prediction_.buckets[1].video_bytes, 4u);
  EXPECT_EQ(prediction_.buckets[2].video_bytes, 0u);
  EXPECT_EQ(prediction_.buckets[kMaxBuckets / 2].video_bytes, 8u);
}

TEST_F(OutputTimelineTest, HasRoomForAnyTime) {
  timeline_.AddVideo(1, 1, false);
  timeline_.AddVideo(std::numeric_limits<int64_t>::max(), 2, false);
  EXPECT_LE(prediction_.buckets.size(), kMaxBuckets);
  EXPECT_EQ(prediction_.buckets.front().video_bytes, 1u);
  EXPECT_EQ(prediction_.buckets.back().video_bytes, 2u);
}

TEST_F(OutputTimelineTest, MergesWhatLooksTheSame) {
  timeline_.Show(10, FillerReason::kNone, kCamera, 1);
  timeline_.Show(20, FillerReason::kNone, kCamera, 2);
  timeline_.Show(30, FillerReason::kNone, kDesktop, 3);
  timeline_.Show(40, FillerReason::kGap, kDesktop, 4);
  timeline_.Show(50, FillerReason::kGap, kCamera, 5);  // The icon is the same in every channel.
  timeline_.Show(60, FillerReason::kWaitingForKeyFrame, kCamera, 6);
  timeline_.Finish(70);
  EXPECT_THAT(Spans(), ElementsAre("10-30 channel 2", "30-40 channel 3",
                                   std::string("40-60 ") + FillerReasonName(FillerReason::kGap),
                                   std::string("60-70 ") +
                                       FillerReasonName(FillerReason::kWaitingForKeyFrame)));
  EXPECT_EQ(prediction_.span_count, 4u);
  EXPECT_EQ(prediction_.filler_us, 30);
}

TEST_F(OutputTimelineTest, BreaksASpanOnce) {
  timeline_.Show(10, FillerReason::kNone, kCamera, 1);
  timeline_.Break();
  timeline_.Show(20, FillerReason::kNone, kCamera, 2);
  timeline_.Show(30, FillerReason::kNone, kCamera, 3);
  timeline_.Finish(40);
  EXPECT_THAT(Spans(), ElementsAre("10-20 channel 2", "20-40 channel 2"));
  EXPECT_EQ(prediction_.filler_us, 0);
}

TEST_F(OutputTimelineTest, NoSpanEndsBeforeItStarts) {
  timeline_.Show(50, FillerReason::kNone, kCamera, 1);
  timeline_.Finish(20);
  EXPECT_THAT(Spans(), ElementsAre("50-50 channel 2"));
}

TEST_F(OutputTimelineTest, HasNoSpanWithoutAPicture) {
  timeline_.Finish(20);
  EXPECT_EQ(prediction_.span_count, 0u);
  EXPECT_TRUE(prediction_.spans.empty());
}

}  // namespace
}  // namespace kxrtc_host
