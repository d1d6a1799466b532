#include "record/predict/key_frame_choice.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int64_t> Times(const std::vector<KeyFramePlace>& frames) {
  std::vector<int64_t> times;
  for (const KeyFramePlace& frame : frames) times.push_back(frame.output_us);
  return times;
}

KeyFrameChoice Every(int64_t step_us, int64_t end_us) {
  KeyFrameChoice choice;
  for (int64_t us = 0; us < end_us; us += step_us) choice.Add(us, {});
  return choice;
}

TEST(KeyFrameChoiceTest, TakesTheOneInTheMiddleOfEachSlice) {
  EXPECT_THAT(Times(Every(10, 400).Spread(4, 400)), ElementsAre(50, 150, 250, 350));
}

TEST(KeyFrameChoiceTest, FewFramesAreAllTaken) {
  EXPECT_THAT(Times(Every(100, 400).Spread(60, 400)), ElementsAre(0, 100, 200, 300));
}

TEST(KeyFrameChoiceTest, ASliceWithoutAFrameHasNone) {
  KeyFrameChoice choice;
  for (const int64_t us : {5, 10, 390, 395}) choice.Add(us, {});
  EXPECT_THAT(Times(choice.Spread(4, 400)), ElementsAre(10, 390));
}

TEST(KeyFrameChoiceTest, OfNothingThereIsNothing) {
  EXPECT_THAT(KeyFrameChoice().Spread(60, 0), IsEmpty());
  EXPECT_THAT(Every(10, 400).Spread(0, 400), IsEmpty());
}

TEST(KeyFrameChoiceTest, FramesBehindTheEndBelongToTheLastSlice) {
  EXPECT_THAT(Times(Every(100, 1000).Spread(2, 200)), ElementsAre(0, 100));
}

TEST(KeyFrameChoiceTest, AMillionFramesStaySpread) {
  constexpr int64_t kStepUs = 40000;
  constexpr int64_t kEndUs = 1000000 * kStepUs;
  constexpr int64_t kSlices = 60;
  const auto frames = Every(kStepUs, kEndUs).Spread(kSlices, kEndUs);
  ASSERT_EQ(frames.size(), static_cast<size_t>(kSlices));
  for (int64_t i = 0; i < kSlices; ++i) {
    const int64_t middle_us = (2 * i + 1) * kEndUs / (2 * kSlices);
    EXPECT_LT(std::abs(frames[i].output_us - middle_us), kEndUs / 2000) << i;
  }
}

TEST(KeyFrameChoiceTest, FramesAtOneTimeCountAsOneWhenThereAreMany) {
  KeyFrameChoice choice;
  for (size_t i = 0; i < 3 * KeyFrameChoice::kMaxKept; ++i) choice.Add(7, {});
  EXPECT_THAT(Times(choice.Spread(60, 60)), ElementsAre(7));
}

TEST(KeyFrameChoiceTest, AnAnalysisGivesPlaceTimeAndRotation) {
  const kx_testing::TempDir dir;
  const std::string key = kx_testing::KeyFrame640x360();
  const std::string audio = kx_testing::AdtsFrame(kx_testing::kAdts48000, 2);
  kx_testing::RecordBuilder(dir)
      .Start(0)
      .Channel(0, kx_testing::kCamera)
      .Attributes(0, 640, 360, 90)
      .Audio(0, audio)
      .Video(1000, key)
      .Delta(15000)
      .Audio(21333, audio)
      .Attributes(30000, 640, 360)
      .Video(31000, key)
      .Stop(50000)
      .Write();
  KeyFrameChoice choice;
  AnalysisOptions options;
  options.key_frames = &choice;
  const RecordSummary summary = AnalyseRecord(dir.path(), options);
  const auto frames = choice.Spread(60, summary.replay.duration_us);
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(Times(frames), summary.replay.key_frames_us);
  EXPECT_EQ(frames[0].rotation, 90);
  EXPECT_EQ(frames[0].data.start_position, 0u);
  EXPECT_EQ(frames[0].data.size, key.size());
  EXPECT_EQ(frames[1].rotation, 0);
  EXPECT_EQ(frames[1].data.start_position, key.size() + kx_testing::DeltaFrame().size());
}

}  // namespace
}  // namespace kxrtc_host
