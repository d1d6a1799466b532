#include "host/conference/record_follower.h"

#include <gtest/gtest.h>

#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

TEST(RecordFollowerTest, NeedsAnIndex) {
  const kx_testing::TempDir dir;
  RecordFollower follower;
  EXPECT_FALSE(follower.Open(dir.path()));
}

TEST(RecordFollowerTest, CountsWhatIsThereAndGoesOnFromThere) {
  const kx_testing::TempDir dir;
  kx_testing::RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kx_testing::kCamera).Attributes(1, 640, 360).Key(2);
  builder.Audio(3, "12345").Delta(4);
  builder.Write();
  RecordFollower follower;
  ASSERT_TRUE(follower.Open(dir.path()));
  ASSERT_TRUE(follower.Follow());
  EXPECT_EQ(follower.counts().sessions, 1u);
  EXPECT_TRUE(follower.counts().session_open);
  EXPECT_EQ(follower.counts().switches, 1u);
  EXPECT_EQ(follower.counts().video_frames, 2u);
  EXPECT_EQ(follower.counts().video_bytes, builder.video().size());
  EXPECT_EQ(follower.counts().audio_frames, 1u);
  EXPECT_EQ(follower.counts().audio_bytes, 5u);
  EXPECT_EQ(follower.counts().index_bytes, builder.index().size());

  kx_testing::AppendToFile(dir.File("SpeakeRecord.index"),
                           kx_testing::BigEndian32(0xEEDDCC02) + kx_testing::BigEndian64(9));
  ASSERT_TRUE(follower.Follow());
  EXPECT_FALSE(follower.counts().session_open);
  EXPECT_EQ(follower.counts().index_bytes, builder.index().size() + 12);
}

TEST(RecordFollowerTest, WaitsForTheRestOfARecord) {
  const kx_testing::TempDir dir;
  kx_testing::RecordBuilder builder(dir);
  builder.Start(0).Audio(1);
  const std::string index = builder.index();
  for (size_t size = 0; size < index.size(); ++size) {
    kx_testing::WriteFile(dir.File("SpeakeRecord.index"), index.substr(0, size));
    RecordFollower follower;
    ASSERT_TRUE(follower.Open(dir.path()));
    EXPECT_TRUE(follower.Follow()) << size;
    EXPECT_EQ(follower.counts().index_bytes, size < 12 ? 0u : 12u) << size;
    EXPECT_EQ(follower.counts().audio_frames, 0u) << size;
  }
}

TEST(RecordFollowerTest, StopsInFrontOfWhatIsNoRecord) {
  const kx_testing::TempDir dir;
  kx_testing::RecordBuilder builder(dir);
  builder.Start(0).RawIndex(kx_testing::BigEndian32(0xEEDDCC05) + kx_testing::BigEndian64(1));
  builder.Write();
  RecordFollower follower;
  ASSERT_TRUE(follower.Open(dir.path()));
  EXPECT_FALSE(follower.Follow());
  EXPECT_EQ(follower.counts().index_bytes, 12u);
}
}  // namespace
}  // namespace kxrtc_host
