// The replay's rules as pure arithmetic.
#include "kxrtc/recording/replay_rules.h"

#include <gtest/gtest.h>

namespace kxrtc {
namespace {

constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

TEST(ReplayRulesTest, SumsStayAtTheEndsOfTheRange) {
  EXPECT_EQ(3, SaturatedAdd(1, 2));
  EXPECT_EQ(kMax, SaturatedAdd(kMax, 1));
  EXPECT_EQ(kMin, SaturatedAdd(kMin, -1));
  EXPECT_EQ(kMax - 1, SaturatedAdd(kMax, -1));
  EXPECT_EQ(-1, SaturatedSubtract(1, 2));
  EXPECT_EQ(kMax, SaturatedSubtract(0, kMin));
  EXPECT_EQ(kMin, SaturatedSubtract(-2, kMax));
  EXPECT_EQ(kMax, SaturatedSubtract(kMax, -1));
}

TEST(ReplayRulesTest, DesktopRecordsAskForALargerPicture) {
  constexpr VideoSettings kDesktop = VideoSettingsFor(true);
  EXPECT_EQ(1280u, kDesktop.width);
  EXPECT_EQ(720u, kDesktop.height);
  EXPECT_EQ(24u, kDesktop.frame_rate);
  EXPECT_EQ(1200u, kDesktop.bit_rate_kbps);
  constexpr VideoSettings kCamera = VideoSettingsFor(false);
  EXPECT_EQ(640u, kCamera.width);
  EXPECT_EQ(360u, kCamera.height);
  EXPECT_EQ(24u, kCamera.frame_rate);
  EXPECT_EQ(400u, kCamera.bit_rate_kbps);
}

struct SizeCase {
  const char* name;
  uint64_t audio_frames;
  bool is_desktop;
  int64_t size;
};

class Mp4SizeTest : public ::testing::TestWithParam<SizeCase> {};

TEST_P(Mp4SizeTest, IsTheVideoBitRateOverTheAudioDuration) {
  EXPECT_EQ(GetParam().size, EstimateMp4Size(GetParam().audio_frames, GetParam().is_desktop));
}

INSTANTIATE_TEST_SUITE_P(
    Counts, Mp4SizeTest,
    ::testing::Values(SizeCase{"None", 0, true, 0}, SizeCase{"OneTruncates", 1, false, 1066},
                      SizeCase{"Desktop", 1000, true, 3199950},
                      SizeCase{"Camera", 1000, false, 1066650},
                      // 2^63 / (21333 * 1200) frames are the last whose product is positive.
                      SizeCase{"LargestThatFits", 360293599777, true, 1152921504606411},
                      SizeCase{"OneMoreWraps", 360293599778, true, -1152921504604082}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(ReplayClockTest, AudioStepsByItsDurationWhateverTheRecorderTime) {
  ReplayClock clock;
  clock.StartSession(5000);
  EXPECT_EQ(21333, clock.PlaceAudio(5000));
  EXPECT_EQ(42666, clock.PlaceAudio(9000000));
  EXPECT_EQ(63999, clock.PlaceAudio(-7));
}

TEST(ReplayClockTest, VideoLiesAsFarBehindTheAudioAsItWasRecorded) {
  ReplayClock clock;
  clock.StartSession(1000000);
  EXPECT_EQ(30000, clock.PlaceVideo(1030000));
  (void)clock.PlaceAudio(1040000);
  EXPECT_EQ(21333 + 25000, clock.PlaceVideo(1065000));
  EXPECT_EQ(21333 + 25000, clock.OutputTimeOf(1065000));
}

struct SpacingCase {
  const char* name;
  int64_t recorder_us;
  int64_t output_us;
};

class VideoSpacingTest : public ::testing::TestWithParam<SpacingCase> {};

// The sample before lies at 40000, the latest audio frame of recorder time 50000 at 21333.
TEST_P(VideoSpacingTest, IsAtLeastTenMilliseconds) {
  ReplayClock clock;
  clock.StartSession(0);
  ASSERT_EQ(40000, clock.PlaceVideo(40000));
  ASSERT_EQ(21333, clock.PlaceAudio(50000));
  EXPECT_EQ(GetParam().output_us, clock.PlaceVideo(GetParam().recorder_us));
}

INSTANTIATE_TEST_SUITE_P(Times, VideoSpacingTest,
                         ::testing::Values(SpacingCase{"BeforeTheAudio", 1000, 50000},
                                           SpacingCase{"JustTooClose", 78666, 50000},
                                           SpacingCase{"JustFarEnough", 78667, 50000},
                                           SpacingCase{"Farther", 78668, 50001},
                                           SpacingCase{"Earliest", kMin, 50000},
                                           SpacingCase{"Latest", kMax, kMax - 28667}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(ReplayClockTest, SessionsFollowOneAnotherWithoutAGap) {
  ReplayClock clock;
  clock.StartSession(0);
  (void)clock.PlaceAudio(20000);
  EXPECT_EQ(31333, clock.PlaceVideo(30000));
  clock.StartSession(900000000);
  EXPECT_EQ(41333, clock.PlaceVideo(900000000));
  EXPECT_EQ(42666, clock.PlaceAudio(900020000));
}

TEST(ReplayClockTest, TimesAtTheEndsOfTheRangeDoNotOverflow) {
  ReplayClock clock;
  clock.StartSession(kMin);
  EXPECT_EQ(kMax, clock.PlaceVideo(kMax));
  EXPECT_EQ(kMax, clock.PlaceVideo(kMax));
  EXPECT_FALSE(clock.IsVideoMissing(true));
}

struct GapCase {
  const char* name;
  int audio_frames;
  bool waits_for_key_frame;
  bool missing;
};

class VideoGapTest : public ::testing::TestWithParam<GapCase> {};

// The only picture lies at 10000: 23 frames are 490659, 24 are 511992; 234 are 4991922, 235 are
// 5013255.
TEST_P(VideoGapTest, EndsWhereAudioRanTooFarAhead) {
  ReplayClock clock;
  clock.StartSession(0);
  ASSERT_EQ(10000, clock.PlaceVideo(0));
  for (int i = 0; i < GetParam().audio_frames; ++i) (void)clock.PlaceAudio(0);
  EXPECT_EQ(GetParam().missing, clock.IsVideoMissing(GetParam().waits_for_key_frame));
}

INSTANTIATE_TEST_SUITE_P(Frames, VideoGapTest,
                         ::testing::Values(GapCase{"WaitingLast", 23, true, false},
                                           GapCase{"WaitingOver", 24, true, true},
                                           GapCase{"NormalEarly", 24, false, false},
                                           GapCase{"NormalLast", 234, false, false},
                                           GapCase{"NormalOver", 235, false, true}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(ReplayClockTest, ALimitIsReachedButNotExceededWithoutAFiller) {
  // Audio at 21333 * 30000 us; the picture exactly one limit behind it.
  for (const bool waits : {false, true}) {
    const int64_t limit_us = waits ? kVideoGapLimitWaitingForKeyFrameUs : kVideoGapLimitUs;
    for (const int64_t late_us : {0, 1}) {
      ReplayClock clock;
      clock.StartSession(0);
      const int64_t audio_us = 30000 * kAudioFrameDurationUs;
      ASSERT_EQ(audio_us - limit_us - late_us, clock.PlaceVideo(audio_us - limit_us - late_us));
      for (int i = 0; i < 30000; ++i) (void)clock.PlaceAudio(0);
      EXPECT_EQ(late_us == 1, clock.IsVideoMissing(waits));
    }
  }
}

}  // namespace
}  // namespace kxrtc
