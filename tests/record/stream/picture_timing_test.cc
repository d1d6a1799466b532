#include "record/stream/picture_timing.h"

#include <gtest/gtest.h>

#include "tests/testing/h264_builder.h"

namespace kxrtc_host {
namespace {

using kx_testing::BitString;

// A VUI with 1001 units of 30000 in a tick.
BitString Vui(uint32_t is_fixed, bool has_hrd, uint32_t has_structure) {
  BitString bits;
  bits.U(1, 1).U(8, 255).U(32, 0x00040003);                       // Aspect ratio.
  bits.U(1, 1).U(1, 0).U(1, 1).U(4, 10).U(1, 1).U(24, 0x010101);  // Overscan, signal type.
  bits.U(1, 1).Ue(0).Ue(1);                                       // Chroma location.
  bits.U(1, 1).U(32, 1001).U(32, 60000).U(1, is_fixed);
  bits.U(1, has_hrd ? 1 : 0);
  if (has_hrd)
    bits.Ue(1).U(8, 0).Ue(7).Ue(7).U(1, 0).Ue(7).Ue(7).U(1, 0).U(5, 23).U(5, 9).U(5, 4).U(5, 0);
  bits.U(1, 0);
  if (has_hrd) bits.U(1, 0);
  return bits.U(1, has_structure).U(1, 0);
}

std::string Bytes(const BitString& bits) {
  const std::vector<uint8_t> bytes = bits.Bytes();
  return {bytes.begin(), bytes.end()};
}

struct TimingCase {
  const char* name;
  uint32_t is_fixed;
  bool has_hrd;
  uint32_t has_structure;
  int structure;  // Of an SEI message; -1: none.
  int64_t duration_us;
};

class PictureTimingTest : public testing::TestWithParam<TimingCase> {};

TEST_P(PictureTimingTest, FollowsTheStream) {
  const TimingCase& test = GetParam();
  kx_testing::SpsFields fields;
  fields.vui_parameters_present_flag = 1;
  BitString sps = fields.Write();
  sps.Append(Vui(test.is_fixed, test.has_hrd, test.has_structure));
  const std::string payload = Bytes(sps.U(1, 1));
  PictureTiming timing;
  kxrtc::SpsParser::SpsState state;
  ASSERT_TRUE(timing.AddSps(reinterpret_cast<const uint8_t*>(payload.data()),
                            static_cast<uint32_t>(payload.size()), &state));
  EXPECT_EQ(state.width, 1280u);
  if (test.structure >= 0) {
    BitString message;
    if (test.has_hrd) message.U(10, 0).U(5, 0);
    message.U(4, static_cast<uint32_t>(test.structure)).U(1, 0);
    while (Bytes(message).size() < 3) message.U(1, 1);
    std::string sei("\x01\x03", 2);
    sei += Bytes(message).substr(0, 3) + "\x80";
    timing.AddSei(reinterpret_cast<const uint8_t*>(sei.data()), static_cast<uint32_t>(sei.size()));
  }
  EXPECT_EQ(timing.TakePicture(), test.duration_us);
  // The message was about one picture only.
  if (test.structure >= 0) {
    EXPECT_EQ(timing.TakePicture(), 2 * 16683);
  }
}

INSTANTIATE_TEST_SUITE_P(Streams, PictureTimingTest,
                         testing::Values(TimingCase{"NotFixed", 0, false, 0, -1, 0},
                                         TimingCase{"Fixed", 1, false, 0, -1, 2 * 16683},
                                         TimingCase{"Frame", 1, false, 1, 0, 2 * 16683},
                                         TimingCase{"Field", 1, false, 1, 1, 16683},
                                         TimingCase{"RepeatedField", 1, false, 1, 5, 3 * 16683},
                                         TimingCase{"Doubled", 1, true, 1, 7, 4 * 16683},
                                         TimingCase{"Tripled", 1, true, 1, 8, 6 * 16683},
                                         TimingCase{"Reserved", 1, true, 1, 9, 2 * 16683}),
                         [](const auto& test) { return test.param.name; });

// ITU-T H.264 clause E.1.1: what may stand in front of the timing.
TEST(PictureTimingSpsTest, FindsTheTimingBehindAnyOtherFields) {
  for (unsigned fields = 0; fields < 32; ++fields) {
    SCOPED_TRACE(fields);
    BitString vui;
    const uint32_t has_ratio = fields & 1;
    vui.U(1, has_ratio);
    if (has_ratio != 0) vui.U(8, (fields & 2) != 0 ? 255 : 1);
    if (has_ratio != 0 && (fields & 2) != 0) vui.U(32, 0xFFFFFFFF);
    vui.U(1, fields >> 2 & 1);
    if ((fields & 4) != 0) vui.U(1, 1);
    vui.U(1, fields >> 3 & 1);
    if ((fields & 8) != 0) vui.U(4, 15).U(1, 0);
    vui.U(1, fields >> 4 & 1);
    if ((fields & 16) != 0) vui.Ue(3).Ue(5);
    // 1 to 50, in numbers without zero bytes.
    vui.U(1, 1).U(32, 0x01010101).U(32, 0x32323232).U(1, 1).U(1, 0).U(1, 0).U(1, 0).U(1, 0);
    kx_testing::SpsFields sps_fields;
    sps_fields.vui_parameters_present_flag = 1;
    BitString sps = sps_fields.Write();
    sps.Append(vui);
    const std::string payload = Bytes(sps.U(1, 1));
    PictureTiming timing;
    kxrtc::SpsParser::SpsState state;
    ASSERT_TRUE(timing.AddSps(reinterpret_cast<const uint8_t*>(payload.data()),
                              static_cast<uint32_t>(payload.size()), &state));
    EXPECT_EQ(timing.TakePicture(), 2 * 20000);
  }
}

TEST(PictureTimingSpsTest, KnowsNothingOfASetThatIsNone) {
  PictureTiming timing;
  kxrtc::SpsParser::SpsState state;
  const uint8_t bytes[] = {0x42};
  EXPECT_FALSE(timing.AddSps(bytes, 1, &state));
  EXPECT_EQ(timing.TakePicture(), 0);
}

}  // namespace
}  // namespace kxrtc_host
