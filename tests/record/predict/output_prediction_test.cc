#include "record/predict/output_prediction.h"

#include <gmock/gmock.h>

#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::ElementsAre;

ReplayPrediction Predict(const TempDir& dir, const RecordBuilder& builder) {
  builder.Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  return summary.replay;
}

// "camera 0 to 5", "gap over 5 s 5 to 9", in milliseconds of output time.
std::vector<std::string> SpanTexts(const ReplayPrediction& replay) {
  std::vector<std::string> texts;
  for (const OutputSpan& span : replay.spans) {
    std::string text = FillerReasonName(span.filler);
    if (text.empty()) text = span.media_type == kDesktop ? "desktop" : "camera";
    texts.push_back(text + " " + std::to_string(span.start_us / 1000) + " to " +
                    std::to_string(span.end_us / 1000));
  }
  return texts;
}

TEST(OutputPredictionTest, PredictsAnAudioOnlyRecord) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0);
  for (int i = 1; i <= 50; ++i) builder.Audio(i * 21333);
  const ReplayPrediction replay = Predict(dir, builder.Stop(51 * 21333));
  EXPECT_THAT(SpanTexts(replay), ElementsAre("audio only 21 to 1088"));
  EXPECT_EQ(replay.duration_us, 51 * 64000 / 3);
  EXPECT_EQ(replay.audio_samples, 50u);
  EXPECT_EQ(replay.video_samples, replay.filler_insertions * 8);
}

TEST(OutputPredictionTest, NamesAShareThatStandsStill) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kDesktop).Attributes(2, 640, 360).Key(3);
  for (int i = 1; i <= 400; ++i) builder.Audio(i * 21333);
  builder.Delta(401 * 21333);
  for (int i = 402; i <= 430; ++i) builder.Audio(i * 21333);
  const ReplayPrediction replay = Predict(dir, builder.Key(431 * 21333).Stop(432 * 21333));
  EXPECT_THAT(SpanTexts(replay), ElementsAre("desktop 10 to 5013", "still share 5013 to 9173",
                                             "desktop 9173 to 9214"));
  EXPECT_EQ(replay.filler_us, 0);
  EXPECT_EQ(replay.still_share_us / 1000, 9173 - 5013);
  EXPECT_EQ(replay.dropped_frames, 1u);
}

TEST(OutputPredictionTest, NamesTheGapOfACamera) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  for (int i = 1; i <= 400; ++i) builder.Audio(i * 21333);
  builder.Delta(401 * 21333);
  for (int i = 402; i <= 430; ++i) builder.Audio(i * 21333);
  const ReplayPrediction replay = Predict(dir, builder.Key(431 * 21333).Stop(432 * 21333));
  EXPECT_THAT(SpanTexts(replay),
              ElementsAre("camera 10 to 5013", "gap over 5 s 5013 to 9045",
                          "waiting for a key frame 9045 to 9173", "camera 9173 to 9214"));
  EXPECT_EQ(replay.still_share_us, 0);
}

TEST(OutputPredictionTest, ShowsNoIconBetweenPicturesThatFollowAtOnce) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, 0);
  for (int i = 1; i <= 9; ++i) builder.Audio(i * 21333);
  builder.Channel(9 * 21333 + 1, kCamera).Attributes(9 * 21333 + 2, 640, 360).Key(9 * 21333 + 3);
  builder.Audio(10 * 21333).Channel(10 * 21333 + 1, 0).Audio(11 * 21333);
  builder.Channel(11 * 21333 + 1, kCamera).Attributes(11 * 21333 + 2, 640, 360);
  builder.Key(11 * 21333 + 3).Audio(12 * 21333);
  const ReplayPrediction replay = Predict(dir, builder.Stop(13 * 21333));
  EXPECT_THAT(SpanTexts(replay), ElementsAre("camera 10 to 293", "camera 293 to 335"));
  EXPECT_EQ(replay.filler_us, 0);
  EXPECT_EQ(replay.filler_insertions, 2u);
}

TEST(OutputPredictionTest, BreaksTheTimelineAtSwitches) {
  const TempDir dir;
  const ReplayPrediction replay = Predict(dir, kx_testing::TwoSessions(dir));
  EXPECT_EQ(replay.switches.size(), 3u);
  EXPECT_EQ(replay.sessions.size(), 2u);
  EXPECT_EQ(replay.key_frame_count, 2u);
}

TEST(OutputPredictionTest, MeasuresHowFarPicturesFallBehind) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3).Audio(10000);
  builder.Delta(900000).Audio(900001).Delta(900002);
  // The second picture lands 10 ms behind the first, 910000 + 1333; its sound is at 42666. The file
  // stretches each by 1/63999.
  const ReplayPrediction replay = Predict(dir, builder.Stop(900003));
  EXPECT_EQ(replay.largest_offset_us, 21333 + 890000 + 10000 + 14 - (42666 + 1 + 1));
  EXPECT_EQ(replay.largest_offset_time_us, 900002);
}

TEST(OutputPredictionTest, MeasuresPicturesStampedBeforeTheSoundInFrontOfThem) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  for (int i = 1; i <= 50; ++i) builder.Audio(i * 21333).Delta(i * 21333 - 400000);
  const ReplayPrediction replay = Predict(dir, builder.Stop(51 * 21333));
  EXPECT_NEAR(replay.largest_offset_us, 400000, 20);
}

TEST(OutputPredictionTest, MeasuresAPictureAgainstTheSoundThatResumesBesideIt) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  for (int i = 1; i <= 10; ++i) builder.Audio(i * 21333);
  builder.Delta(3000000);
  for (int i = 0; i < 10; ++i) builder.Audio(3010000 + i * 21333);
  // The picture is shown at 3.0 s; the sound of 3.01 s is heard at 11 * 21333.
  const ReplayPrediction replay = Predict(dir, builder.Stop(4000000));
  EXPECT_NEAR(replay.largest_offset_us, 3000000 - (11 * 21333 - 10000), 50);
  EXPECT_EQ(replay.largest_offset_time_us, 3000000);
}

TEST(OutputPredictionTest, AClockThatIsSetBackMovesNoPictureFromItsSound) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(9000000).Channel(9000001, kCamera).Attributes(9000002, 640, 360).Key(9000003);
  for (int i = 1; i <= 10; ++i) builder.Audio(9000000 + i * 21333).Delta(9000001 + i * 21333);
  for (int i = 1; i <= 10; ++i) builder.Delta(7000000 + i * 21333).Audio(7000001 + i * 21333);
  const ReplayPrediction replay = Predict(dir, builder.Stop(8000000));
  EXPECT_LT(replay.largest_offset_us, 50000);
}

TEST(OutputPredictionTest, ManyPicturesWithoutSoundAreMeasuredInBoundedMemory) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Audio(10000).Key(10001);
  for (int i = 1; i <= 3000; ++i) builder.Delta(10001 + i);
  // Each picture is 10 ms behind the one in front of it.
  const ReplayPrediction replay = Predict(dir, builder.Stop(4000000));
  EXPECT_GT(replay.largest_offset_us, 3000 * 9999);
}

// The clock is set forward by an hour behind so many audio frames, one picture in front of the
// next.
class ClockSetForwardTest : public testing::TestWithParam<int> {};

TEST_P(ClockSetForwardTest, IsFollowedAsByTheWriter) {
  const int64_t hour_us = 3600000000;
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  for (int i = 1; i <= 100; ++i) {
    const int64_t time_us = i * 21333 + (i > GetParam() ? hour_us : 0);
    if (i == GetParam() + 1) builder.Delta(time_us - 5);
    builder.Audio(time_us).Delta(time_us + 5);
  }
  const ReplayPrediction replay = Predict(dir, builder.Stop(hour_us + 101 * 21333));
  EXPECT_NEAR(replay.duration_us, 101 * 64000 / 3, 42000);
  EXPECT_LT(replay.largest_offset_us, 50000);
}

INSTANTIATE_TEST_SUITE_P(AudioFrames, ClockSetForwardTest, testing::Values(0, 1, 50),
                         testing::PrintToStringParamName());

TEST(OutputPredictionTest, APauseWithoutAnySoundStays) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3).Delta(100000000);
  const ReplayPrediction replay = Predict(dir, builder.Stop(100000001));
  EXPECT_GT(replay.duration_us, 100000000);
}

TEST(OutputPredictionTest, ALateFirstPictureIsShownFromTheStartOn) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(5000000);
  for (int i = 1; i <= 400; ++i) builder.Audio(5000000 + i * 21333);
  const ReplayPrediction replay = Predict(dir, builder.Stop(14000000));
  EXPECT_EQ(replay.spans.front().start_us / 21333, 0);
  EXPECT_EQ(replay.duration_us, 401 * int64_t{64000} / 3 + 1);
}

TEST(OutputPredictionTest, TellsTheOutputTimeAtWhichTheFileStarts) {
  const TempDir late;
  const ReplayPrediction moved = Predict(late, RecordBuilder(late)
                                                   .Start(0)
                                                   .Channel(1, kCamera)
                                                   .Attributes(2, 640, 360)
                                                   .Key(5000000)
                                                   .Stop(5100000));
  EXPECT_EQ(moved.start_us, 5000000 / 21333 * 21333);
  EXPECT_THAT(moved.key_frames_us, ElementsAre(5000000 - moved.start_us));
  const TempDir early;
  const ReplayPrediction usual = Predict(early, RecordBuilder(early)
                                                    .Start(0)
                                                    .Channel(1, kCamera)
                                                    .Attributes(2, 640, 360)
                                                    .Key(900000)
                                                    .Stop(1000000));
  EXPECT_EQ(usual.start_us, 0);
}

TEST(OutputPredictionTest, CountsEachStretchOfFiller) {
  ReplayPrediction prediction;
  FindingList findings;
  OutputTimeline timeline(&prediction, &findings);
  for (int i = 0; i < 60000; ++i) {
    timeline.Show(i, i % 2 ? FillerReason::kGap : FillerReason::kWaitingForKeyFrame, kCamera, i);
  }
  timeline.Finish(60000);
  EXPECT_EQ(prediction.spans.size(), kMaxSpans);
  EXPECT_EQ(findings.count(FindingCode::kReplayFillerGap), 30000u);
  EXPECT_EQ(findings.count(FindingCode::kReplayFillerWaiting), 30000u);
}

TEST(OutputPredictionTest, KeepsSpansAndBucketsBounded) {
  ReplayPrediction prediction;
  FindingList findings;
  OutputTimeline timeline(&prediction, &findings);
  for (int i = 0; i < 100000; ++i) {
    timeline.Show(i * int64_t{1000000}, FillerReason::kNone, i % 2 ? kCamera : kDesktop, 0);
    timeline.AddVideo(i * int64_t{1000000}, 10, true);
  }
  timeline.Finish(int64_t{100000} * 1000000);
  EXPECT_EQ(prediction.spans.size(), kMaxSpans);
  EXPECT_EQ(prediction.span_count, 100000u);
  EXPECT_LE(prediction.buckets.size(), kMaxBuckets);
  uint64_t bytes = 0;
  for (const OutputBucket& bucket : prediction.buckets) bytes += bucket.video_bytes;
  EXPECT_EQ(bytes, 1000000u);
  EXPECT_EQ(prediction.key_frames_us.size(), kMaxMarks);
  EXPECT_EQ(prediction.key_frame_count, 100000u);
}

}  // namespace
}  // namespace kxrtc_host
