#include "record/timing/icon_hold.h"

#include <gtest/gtest.h>

namespace kxrtc_host {
namespace {

TEST(IconHoldTest, ARecordedPictureInTimeTakesThePlaceOfTheIcon) {
  IconHold hold(ClipPictures::kAll);
  EXPECT_TRUE(hold.HoldsIcon(20000));
  EXPECT_TRUE(hold.HoldsIcon(30000));
  EXPECT_FALSE(hold.IsDue(20000 + kShortestIconUs));
  EXPECT_EQ(hold.ShowRecorded(20000 + kShortestIconUs), 20000);  // Nothing was shown before it.
  EXPECT_FALSE(hold.is_waiting());
  EXPECT_TRUE(hold.HoldsIcon(1000000));
  EXPECT_EQ(hold.ShowRecorded(1100000), 1100000);  // The picture before it stays.
}

TEST(IconHoldTest, AnIconThatNothingReplacesIsShownFromItsTime) {
  IconHold hold(ClipPictures::kAll);
  EXPECT_TRUE(hold.HoldsIcon(20000));
  EXPECT_TRUE(hold.IsDue(20001 + kShortestIconUs));
  EXPECT_EQ(hold.start_us(), 20000);
  hold.ShowIcon();
  EXPECT_FALSE(hold.IsDue(9000000));
  EXPECT_FALSE(hold.HoldsIcon(520000));  // It is on the screen already.
  EXPECT_EQ(hold.ShowRecorded(600000), 600000);
  EXPECT_TRUE(hold.HoldsIcon(700000));
}

TEST(IconHoldTest, AllPicturesOfAClipAreShownWhenTheyCome) {
  IconHold hold(ClipPictures::kAll);
  EXPECT_FALSE(hold.LeavesOut(false));
  (void)hold.ShowRecorded(20000);
  EXPECT_EQ(hold.ShownFrom(30000), 30000);
}

TEST(IconHoldTest, OfAClipForCopiedVideoTheFirstPictureIsShownAFrameLater) {
  IconHold hold(ClipPictures::kFirst);
  EXPECT_FALSE(hold.LeavesOut(true));
  EXPECT_TRUE(hold.LeavesOut(false));
  EXPECT_EQ(hold.ShownFrom(0), 0);
  (void)hold.ShowRecorded(20000);
  EXPECT_EQ(hold.ShownFrom(20000 + kShortestPictureUs - 1), 20000 + kShortestPictureUs);
  EXPECT_EQ(hold.ShownFrom(20000 + kShortestPictureUs + 1), 20000 + kShortestPictureUs + 1);
}

TEST(IconHoldTest, AnIconOnTheScreenIsNotRepeatedRightBeforeACopiedPicture) {
  IconHold hold(ClipPictures::kFirst);
  EXPECT_TRUE(hold.HoldsIcon(20000));
  hold.ShowIcon();
  EXPECT_TRUE(hold.HoldsIcon(600000));
  EXPECT_FALSE(hold.ShowsAtEnd(900000));
  EXPECT_TRUE(hold.IsDue(600001 + kShortestIconUs));
  EXPECT_EQ(hold.ShowRecorded(600000 + kShortestIconUs), 600000 + kShortestIconUs);
  EXPECT_FALSE(hold.is_waiting());
}

TEST(IconHoldTest, AtTheEndAShortIconIsShownOnlyIfNothingElseIs) {
  IconHold hold(ClipPictures::kAll);
  EXPECT_FALSE(hold.ShowsAtEnd(0));
  EXPECT_TRUE(hold.HoldsIcon(20000));
  EXPECT_TRUE(hold.ShowsAtEnd(30000));
  (void)hold.ShowRecorded(30000);
  EXPECT_TRUE(hold.HoldsIcon(50000));
  EXPECT_FALSE(hold.ShowsAtEnd(50000 + kShortestIconUs));
  EXPECT_TRUE(hold.ShowsAtEnd(50001 + kShortestIconUs));
}

}  // namespace
}  // namespace kxrtc_host
