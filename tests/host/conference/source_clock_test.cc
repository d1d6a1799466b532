#include "host/conference/source_clock.h"

#include <gtest/gtest.h>

namespace kxrtc_host {
namespace {

constexpr int64_t kSecond = 1000000;

TEST(FileClockTest, CountsFromItsOrigin) {
  EXPECT_EQ(FileClock(5 * kSecond).DueAt(40000), 5 * kSecond + 40000 + kPlayoutDelayUs);
}

TEST(LiveClockTest, IsLedByTheFastestPacket) {
  LiveClock clock;
  EXPECT_EQ(clock.DueAt(0, 10 * kSecond), 10 * kSecond + kPlayoutDelayUs);
  // Comes 80 ms late: due as planned.
  EXPECT_NEAR(static_cast<double>(clock.DueAt(40000, 10 * kSecond + 120000)),
              static_cast<double>(10 * kSecond + 40000 + kPlayoutDelayUs), 100);
  // Comes 20 ms earlier than the first one did: all that follow are due earlier.
  EXPECT_EQ(clock.DueAt(200000, 10 * kSecond + 180000), 10 * kSecond + 180000 + kPlayoutDelayUs);
}

TEST(LiveClockTest, FollowsASenderWithASlowClock) {
  LiveClock clock;
  // A sender that loses 100 microseconds a second, for an hour: never more than a little late.
  for (int64_t second = 0; second < 3600; ++second) {
    const int64_t arrival = second * kSecond;
    const int64_t media = arrival - second * 100;
    const int64_t due = clock.DueAt(media, arrival);
    ASSERT_GE(due, arrival + kPlayoutDelayUs - 1000) << second;
    ASSERT_LE(due, arrival + kPlayoutDelayUs) << second;
  }
}

TEST(LiveClockTest, StartsAnewWhenTheTimeJumps) {
  LiveClock clock;
  (void)clock.DueAt(500 * kSecond, 1 * kSecond);
  EXPECT_EQ(clock.DueAt(0, 2 * kSecond), 2 * kSecond + kPlayoutDelayUs);
  EXPECT_EQ(clock.DueAt(900 * kSecond, 3 * kSecond), 3 * kSecond + kPlayoutDelayUs);
}

TEST(LiveClockTest, AStepOfThreeSecondsIsNoJumpYet) {
  struct StepCase {
    int64_t media_us;
    int64_t due_us;
  };
  constexpr int64_t kJump = LiveClock::kJumpUs;
  // Both packets arrive at 20 s; the first one gives an offset of 10 s.
  for (const StepCase& test :
       {StepCase{10 * kSecond - kJump, 20 * kSecond - kJump},  // Delayed.
        StepCase{10 * kSecond - kJump - 1, 20 * kSecond},      // Too much for a delay.
        StepCase{10 * kSecond + kJump, 20 * kSecond},          // Faster than all before.
        StepCase{10 * kSecond + kJump + 1, 20 * kSecond}}) {
    LiveClock clock;
    EXPECT_EQ(clock.DueAt(10 * kSecond, 20 * kSecond), 20 * kSecond + kPlayoutDelayUs);
    EXPECT_EQ(clock.DueAt(test.media_us, 20 * kSecond), test.due_us + kPlayoutDelayUs);
  }
}

TEST(LiveClockTest, GivesUpLatenessOfMoreThanASecondOnly) {
  for (const int64_t late_us : {LiveClock::kMaxLateUs, LiveClock::kMaxLateUs + 1}) {
    LiveClock clock;
    constexpr int64_t kLate = kPlayoutDelayUs + 500000;
    EXPECT_EQ(clock.DueAt(0, 0), kPlayoutDelayUs);
    (void)clock.DueAt(0, kLate);
    const int64_t due_us = clock.DueAt(late_us, kLate + late_us);
    if (late_us > LiveClock::kMaxLateUs) {
      EXPECT_EQ(due_us, kLate + late_us + kPlayoutDelayUs);
    } else {
      EXPECT_LT(due_us, kLate + late_us);
    }
  }
}

TEST(LiveClockTest, GivesUpAPlanThatEverythingMisses) {
  LiveClock clock;
  (void)clock.DueAt(0, 0);
  // From now on half a second later than before.
  int64_t due = 0;
  int64_t arrival = 0;
  for (int64_t media = 100000; media < 3 * kSecond; media += 100000) {
    arrival = media + 500000;
    due = clock.DueAt(media, arrival);
    if (media < kSecond) {
      EXPECT_LT(due, arrival);
    }
  }
  EXPECT_GE(due, arrival + kPlayoutDelayUs - 1000);
}

}  // namespace
}  // namespace kxrtc_host
