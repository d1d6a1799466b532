#include "record/timing/video_clock.h"

#include <gtest/gtest.h>

#include <string>

namespace kxrtc_host {
namespace {

constexpr int64_t kNoLimit = INT64_MAX;
constexpr int64_t kSecond = 1000000;

// "1 steps, first at 1 by 99 s; 3 moved; 0 s shorter".
std::string Changes(const VideoClock& clock) {
  const VideoClockChanges& changes = clock.changes();
  return std::to_string(changes.steps) + " steps, first at " +
         std::to_string(changes.first_step_at_us / kSecond) + " by " +
         std::to_string(changes.first_step_us / kSecond) + " s; " +
         std::to_string(changes.moved_samples) + " moved; " +
         std::to_string(changes.shortened_by_us / kSecond) + " s shorter";
}

constexpr char kUnchanged[] = "0 steps, first at 0 by 0 s; 0 moved; 0 s shorter";

TEST(VideoClockTest, LeavesWhatIsInStep) {
  VideoClock clock(kNoLimit, false);
  EXPECT_EQ(clock.Place(10000), 10000);
  clock.NoteAudio(21333);
  EXPECT_EQ(clock.Place(60 * kSecond), 60 * kSecond);
  EXPECT_EQ(clock.Place(119 * kSecond), 119 * kSecond);
  EXPECT_EQ(Changes(clock), kUnchanged);
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
  EXPECT_EQ(Changes(clock), kUnchanged);
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
  EXPECT_EQ(Changes(clock), "1 steps, first at 1 by 99 s; 3 moved; 0 s shorter");
}

TEST(VideoClockTest, ATenthOfASecondBeforeTheAudioIsInStepAgain) {
  for (const int64_t ahead_us : {VideoClock::kInStepUs, VideoClock::kInStepUs + 1}) {
    VideoClock clock(kNoLimit, false);
    clock.NoteAudio(kSecond);
    EXPECT_EQ(clock.Place(100 * kSecond), kSecond);
    clock.NoteAudio(100 * kSecond - ahead_us);
    const bool is_in_step = ahead_us == VideoClock::kInStepUs;
    EXPECT_EQ(clock.Place(100 * kSecond), 100 * kSecond - (is_in_step ? 0 : ahead_us));
  }
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
  EXPECT_EQ(Changes(clock), "3 steps, first at 0 by 500 s; 3 moved; 0 s shorter");
}

TEST(VideoClockTest, APauseThatIsTooLongIsShortened) {
  VideoClock clock(10 * kSecond, false);
  EXPECT_EQ(clock.Place(kSecond), kSecond);
  EXPECT_EQ(clock.Place(21 * kSecond), 11 * kSecond);
  EXPECT_EQ(clock.Place(22 * kSecond), 12 * kSecond);
  EXPECT_EQ(Changes(clock), "0 steps, first at 0 by 0 s; 0 moved; 10 s shorter");
}

}  // namespace
}  // namespace kxrtc_host
