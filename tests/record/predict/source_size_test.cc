#include "record/predict/source_size.h"

#include <gmock/gmock.h>

#include "tests/testing/h264_builder.h"
#include "tests/testing/random_record.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::KeyFrame640x360;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;

// A key frame whose parameter set tells so many macroblocks.
std::string KeyFrameOf(uint32_t columns, uint32_t rows) {
  kx_testing::SpsFields sps;
  sps.pic_width_in_mbs_minus1 = columns - 1;
  sps.pic_height_in_map_units_minus1 = rows - 1;
  std::string unit("\0\0\0\1\x67", 5);
  for (const uint8_t byte : sps.Write().Trailing().Bytes()) unit += static_cast<char>(byte);
  return unit + std::string("\0\0\0\1\x68\xCE\x3C\x80", 8) + std::string("\0\0\0\1\x65key", 8);
}

std::string SizeOf(const TempDir& dir) {
  RecordFiles files;
  files.Open(dir.path());
  const std::optional<PictureSize> size = LargestSourceSize(&files);
  return size ? std::to_string(size->width) + "x" + std::to_string(size->height) : "none";
}

class SourceSizeTest : public testing::Test {
 protected:
  RecordBuilder Start() { return RecordBuilder(dir_).Start(0).Channel(1, kx_testing::kCamera); }

  TempDir dir_;
};

TEST_F(SourceSizeTest, IsThatOfTheLargestPicture) {
  Start()
      .Attributes(2, 640, 360)
      .Video(3, KeyFrame640x360())
      .Channel(50000, kx_testing::kDesktop)
      .Attributes(50001, 1920, 1088)
      .Video(50002, KeyFrameOf(120, 68))
      .Attributes(90000, 320, 192)
      .Video(90001, KeyFrameOf(20, 12))
      .Stop(100000)
      .Write();
  EXPECT_EQ(SizeOf(dir_), "1920x1088");
}

TEST_F(SourceSizeTest, IsUpright) {
  Start().Attributes(2, 640, 360, 90).Video(3, KeyFrame640x360()).Stop(50000).Write();
  EXPECT_EQ(SizeOf(dir_), "360x640");
}

TEST_F(SourceSizeTest, OfTwoThatAreEquallyLargeItIsTheWiderOne) {
  Start()
      .Attributes(2, 640, 360, 270)
      .Video(3, KeyFrame640x360())
      .Attributes(50000, 640, 360, 180)
      .Video(50001, KeyFrame640x360())
      .Attributes(90000, 640, 360, 90)
      .Video(90001, KeyFrame640x360())
      .Stop(100000)
      .Write();
  EXPECT_EQ(SizeOf(dir_), "640x360");
}

TEST_F(SourceSizeTest, TheStreamIsBelievedBeforeTheAttributes) {
  Start().Attributes(2, 64000, 48000).Video(3, KeyFrame640x360()).Stop(50000).Write();
  EXPECT_EQ(SizeOf(dir_), "640x360");
}

TEST_F(SourceSizeTest, WithoutAParameterSetTheAttributesAre) {
  Start().Attributes(2, 800, 600).Key(3).Stop(50000).Write();
  EXPECT_EQ(SizeOf(dir_), "800x600");
}

TEST_F(SourceSizeTest, PicturesThatTheReplayDropsDoNotCount) {
  Start().Attributes(2, 800, 600).Delta(3).Stop(50000).Write();
  EXPECT_EQ(SizeOf(dir_), "none");
}

TEST_F(SourceSizeTest, SoundAloneHasNone) {
  RecordBuilder(dir_).Start(0).Channel(1, 0).Audio(21333).Stop(50000).Write();
  EXPECT_EQ(SizeOf(dir_), "none");
}

TEST_F(SourceSizeTest, ADamagedRecordGivesWhatIsShownBeforeTheDamage) {
  Start()
      .Attributes(2, 640, 360)
      .Video(3, KeyFrame640x360())
      .DataRecord(kx_testing::kVideoRecord, 40000, 1 << 20, 1 << 30)
      .Attributes(50000, 1920, 1088)
      .Video(50001, KeyFrameOf(120, 68))
      .Stop(60000)
      .Write();
  EXPECT_EQ(SizeOf(dir_), "640x360");
  EXPECT_EQ(SizeOf(TempDir()), "none");
}

TEST_F(SourceSizeTest, RandomRecordsDoNoHarm) {
  std::mt19937_64 random(20240609);
  for (int round = 0; round < 100; ++round) {
    const TempDir dir;
    kx_testing::WriteRandomRecord(&random, dir);
    (void)SizeOf(dir);
  }
}

}  // namespace
}  // namespace kxrtc_host
