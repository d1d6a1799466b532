#include "record/check/silent_aac.h"

#include <gmock/gmock.h>

#include "record/check/adts.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;

// Worked out by hand from ISO/IEC 14496-3, tables 4.3 to 4.50.
TEST(SilentAacFrameTest, HasOneElementForEachChannelOrPair) {
  EXPECT_THAT(SilentAacFrame(1), ElementsAre(0x00, 0x00, 0x00, 0x07));
  EXPECT_THAT(SilentAacFrame(2), ElementsAre(0x21, 0x00, 0x00, 0x00, 0x00, 0x1C));
  EXPECT_THAT(SilentAacFrame(3),
              ElementsAre(0x00, 0x00, 0x00, 0x01, 0x08, 0x00, 0x00, 0x00, 0x00, 0xE0));
}

TEST(SilentAacFrameTest, ExistsForEachChannelCountOfAac) {
  for (uint32_t channels = 0; channels < 20; ++channels) {
    EXPECT_EQ(SilentAacFrame(channels).empty(), !IsAacChannelCount(channels)) << channels;
  }
}

// Table 4.57: fill elements of 14 and 15 bytes have counts of different shape.
TEST(SilentAacFrameTest, IsAsLongAsAsked) {
  for (const uint32_t channels : {1u, 2u, 6u}) {
    const size_t shortest = SilentAacFrame(channels).size();
    EXPECT_EQ(SilentAacFrame(channels, shortest), SilentAacFrame(channels));
    EXPECT_TRUE(SilentAacFrame(channels, shortest - 1).empty());
    for (size_t size = shortest; size < 600; ++size) {
      const std::vector<uint8_t> frame = SilentAacFrame(channels, size);
      ASSERT_EQ(frame.size(), size) << channels;
      ASSERT_THAT(frame, testing::Not(testing::Contains(0xFF))) << channels;  // No sync word.
    }
    EXPECT_EQ(SilentAacFrame(channels, kMaxAacFrameSize).size(), kMaxAacFrameSize);
  }
  EXPECT_TRUE(SilentAacFrame(7, 100).empty());
  EXPECT_THAT(SilentAacFrame(1, 7), ElementsAre(0x00, 0x00, 0x00, 0x06, 0x21, 0x0A, 0x5E));
}

}  // namespace
}  // namespace kxrtc_host
