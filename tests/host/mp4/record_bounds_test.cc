#include "host/mp4/record_bounds.h"

#include <gtest/gtest.h>

#include "host/mp4/sample_bounds.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;

TEST(RecordBoundsTest, AreThoseOfWhatTheRecordHolds) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3).Delta(40000);
  record.Audio(50000).Audio(60000).Audio(70000).Stop(80000).Write();
  for (const VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    const SampleBounds bounds = BoundsOfRecord(dir.path(), mode);
    EXPECT_EQ(bounds.audio_frames, 3u);
    EXPECT_GE(bounds.video_samples, 2u);
    EXPECT_GE(bounds.bytes, record.video().size() + record.audio().size());
  }
}

TEST(RecordBoundsTest, TheFolderMayLackItsSeparator) {
  const TempDir dir;
  RecordBuilder(dir).Start(0).Audio(10).Audio(20).Stop(30).Write();
  const std::string path = dir.path();
  const std::string bare = path.substr(0, path.find_last_not_of('/') + 1);
  EXPECT_EQ(BoundsOfRecord(bare, VideoMode::kCopy).audio_frames, 2u);
}

TEST(RecordBoundsTest, OfNoRecordAreThoseOfAnEmptyOne) {
  const TempDir dir;
  const SampleBounds bounds = BoundsOfRecord(dir.path() + "missing/", VideoMode::kCopy);
  const SampleBounds empty = BoundsOf(RecordOutline{}, VideoMode::kCopy);
  EXPECT_EQ(bounds.audio_frames, 0u);
  EXPECT_EQ(bounds.bytes, 0u);
  EXPECT_EQ(bounds.video_samples, empty.video_samples);
}

}  // namespace
}  // namespace kxrtc_host
