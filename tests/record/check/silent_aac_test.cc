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

}  // namespace
}  // namespace kxrtc_host
