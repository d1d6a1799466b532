#include "kxrtc/recording/icon_frames.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kxrtc {
namespace {

using ::testing::ElementsAre;

// Types of the NAL units behind four-byte start codes; -1 for any three-byte one.
std::vector<int> NalTypes(const IconFrame& frame) {
  std::vector<int> types;
  for (uint32_t i = 0; i + 3 < frame.size; ++i) {
    const uint8_t* p = frame.data + i;
    if (p[0] != 0 || p[1] != 0 || p[2] != 1) continue;
    types.push_back(i > 0 && frame.data[i - 1] == 0 ? p[3] & 0x1F : -1);
  }
  return types;
}

TEST(IconFramesTest, FirstFrameIsAKeyFrameWithParameterSets) {
  EXPECT_THAT(NalTypes(kIconFrames[0]), ElementsAre(9, 7, 8, 6, 5));
}

TEST(IconFramesTest, OtherFramesRepeatThePictureParameterSetOnly) {
  for (uint32_t i = 1; i < kIconFrameCount; ++i) {
    EXPECT_THAT(NalTypes(kIconFrames[i]), ElementsAre(9, 8, 6, 1)) << i;
  }
}

TEST(IconFramesTest, WholeClipIsBelowThreeKilobytes) {
  uint32_t total = 0;
  for (const IconFrame& frame : kIconFrames) total += frame.size;
  EXPECT_LT(total, 3000u);
}

TEST(IconFramesTest, TableListsTheFramesInOrder) {
  EXPECT_EQ(kIconFrame0, kIconFrames[0].data);
  EXPECT_EQ(kIconFrame1, kIconFrames[1].data);
  EXPECT_EQ(kIconFrame2, kIconFrames[2].data);
  EXPECT_EQ(kIconFrame3, kIconFrames[3].data);
  EXPECT_EQ(kIconFrame4, kIconFrames[4].data);
  EXPECT_EQ(kIconFrame5, kIconFrames[5].data);
  EXPECT_EQ(kIconFrame6, kIconFrames[6].data);
  EXPECT_EQ(kIconFrame7, kIconFrames[7].data);
}

}  // namespace
}  // namespace kxrtc
