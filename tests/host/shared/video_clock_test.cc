#include "host/shared/video_clock.h"

#include <gmock/gmock.h>

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t kNoLimit = INT64_MAX;
constexpr int64_t kSecond = 1000000;

std::vector<std::string> Warnings(const VideoClock& clock) {
  WriterReport report;
  clock.Finish(&report);
  return report.status.warnings;
}

TEST(VideoClockTest, LeavesWhatIsInStep) {
  VideoClock clock(kNoLimit, false);
  EXPECT_EQ(clock.Place(10000), 10000);
  clock.NoteAudio(21333);
  EXPECT_EQ(clock.Place(60 * kSecond), 60 * kSecond);
  EXPECT_EQ(clock.Place(119 * kSecond), 119 * kSecond);
  EXPECT_THAT(Warnings(clock), IsEmpty());
}

TEST(VideoClockTest, AMinuteIsNoStepYet) {
  VideoClock clock(kNoLimit, false);
  clock.NoteAudio(1000);
  EXPECT_EQ(clock.Place(VideoClock::kStepUs + 1000), VideoClock::kStepUs + 1000);
  VideoClock late(kNoLimit, false);
  late.NoteAudio(1000);
  EXPECT_EQ(late.Place(VideoClock::kStepUs + 1001), 1000);
}

TEST(VideoClockTest, WithoutAudioNothingIsAStep) {
  VideoClock clock(kNoLimit, false);
  EXPECT_EQ(clock.Place(3600 * kSecond), 3600 * kSecond);
  EXPECT_THAT(Warnings(clock), IsEmpty());
}

TEST(VideoClockTest, AStepInFrontOfTheAudioIsHeldAgainstItsStart) {
  VideoClock clock(kNoLimit, true);
  EXPECT_EQ(clock.Place(10000), 10000);
  EXPECT_EQ(clock.Place(50 * kSecond), 50 * kSecond);
  EXPECT_EQ(clock.Place(3600 * kSecond), 50 * kSecond + 1);
  VideoClock early(kNoLimit, true);
  EXPECT_EQ(early.Place(3600 * kSecond), 1);
  early.NoteAudio(21333);
  EXPECT_EQ(early.Place(3600 * kSecond + 10000), 21333);
}

TEST(VideoClockTest, AfterAStepEachSampleFollowsTheAudioUntilItHasCaughtUp) {
  VideoClock clock(kNoLimit, false);
  clock.NoteAudio(kSecond);
  EXPECT_EQ(clock.Place(100 * kSecond), kSecond);
  EXPECT_EQ(clock.Place(100 * kSecond + 10000), kSecond + 1);
  clock.NoteAudio(99 * kSecond);
  EXPECT_EQ(clock.Place(100 * kSecond + 20000), 99 * kSecond);
  clock.NoteAudio(100 * kSecond);
  EXPECT_EQ(clock.Place(100 * kSecond + 30000), 100 * kSecond + 30000);
  EXPECT_THAT(Warnings(clock), ElementsAre("the recorder's clock was set forward by 0:01:39.000 at "
                                           "0:00:01.000: 3 video samples follow the audio "
                                           "instead"));
}

TEST(VideoClockTest, SeveralStepsAreCounted) {
  VideoClock clock(kNoLimit, false);
  for (int64_t at : {0, 1000, 2000}) {
    clock.NoteAudio(at * kSecond);
    EXPECT_EQ(clock.Place((at + 1) * kSecond), (at + 1) * kSecond);
    (void)clock.Place((at + 500) * kSecond);
    clock.NoteAudio((at + 500) * kSecond);
    EXPECT_EQ(clock.Place((at + 500) * kSecond), (at + 500) * kSecond);
  }
  EXPECT_THAT(Warnings(clock), ElementsAre("the recorder's clock was set forward by 0:08:20.000 at "
                                           "0:00:00.000 and 2 times more: 3 video samples follow "
                                           "the audio instead"));
}

TEST(VideoClockTest, APauseThatIsTooLongIsShortened) {
  VideoClock clock(10 * kSecond, false);
  EXPECT_EQ(clock.Place(kSecond), kSecond);
  EXPECT_EQ(clock.Place(21 * kSecond), 11 * kSecond);
  EXPECT_EQ(clock.Place(22 * kSecond), 12 * kSecond);
  EXPECT_THAT(Warnings(clock), ElementsAre("the video pauses longer than the file can tell; "
                                           "0:00:10.000 of it are left out"));
}

}  // namespace
}  // namespace kxrtc_host
