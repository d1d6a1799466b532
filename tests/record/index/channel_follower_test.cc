#include "record/index/channel_follower.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/testing/record_builder.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::RecordBuilder;
using ::kx_testing::TempDir;

std::string Now(const ChannelFollower& follower) {
  return std::to_string(follower.media_type()) + "/" + std::to_string(follower.channel());
}

TEST(ChannelFollowerTest, KnowsTheChannelUpToTheNextAudioFrame) {
  const TempDir dir;
  RecordBuilder(dir)
      .Start(0)
      .Channel(1, kx_testing::kCamera)
      .Key(2)
      .Audio(3)
      .Channel(4, kx_testing::kDesktop)
      .Key(5)
      .Audio(6)
      .Stop(7)
      .Start(8)
      .Channel(9, 0)
      .Audio(10)
      .Stop(11)
      .Write();
  ChannelFollower follower(dir.path());
  EXPECT_EQ(Now(follower), "2/1");
  follower.OnAudio();
  EXPECT_EQ(Now(follower), "3/2");
  follower.OnAudio();
  EXPECT_EQ(Now(follower), "0/3");
  for (int i = 0; i < 3; ++i) follower.OnAudio();
  EXPECT_EQ(Now(follower), "0/3");
}

TEST(ChannelFollowerTest, OfARecordThatCannotBeReadItKnowsNothing) {
  const TempDir dir;
  ChannelFollower missing(dir.path());
  missing.OnAudio();
  EXPECT_EQ(Now(missing), "0/0");
  RecordBuilder(dir).Start(0).Channel(1, kx_testing::kDesktop).RawIndex("torn").Write();
  ChannelFollower torn(dir.path());
  torn.OnAudio();
  EXPECT_EQ(Now(torn), "3/1");
}

}  // namespace
}  // namespace kxrtc_host
