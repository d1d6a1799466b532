#include "host/ffmpeg/h264_format_reader.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/testing/bit_string.h"

namespace kxrtc_host {
namespace {

using kx_testing::BitString;

constexpr char kStartCode[] = {0, 0, 1};

std::string Unit(const std::string& header, const BitString& payload) {
  const std::vector<uint8_t> bytes = BitString(payload).Trailing().Bytes();
  return std::string(kStartCode, 3) + header + std::string(bytes.begin(), bytes.end());
}

// A High profile set of 640x352 less 8 lines, with the default scaling lists.
std::string Sps(uint32_t chroma_format) {
  BitString bits;
  bits.U(8, 100).U(8, 0).U(8, 30).Ue(0).Ue(chroma_format).Ue(0).Ue(0).U(1, 0).U(1, 1);
  bits.U(8, 0);                    // No list differs from the default.
  bits.Ue(0).Ue(2).Ue(1).U(1, 0);  // Frame numbers, order of the pictures, references.
  bits.Ue(39).Ue(21).U(1, 1).U(1, 1);
  bits.U(1, 1).Ue(0).Ue(0).Ue(0).Ue(4).U(1, 0);
  return Unit("\x67", bits);
}

std::string Pps() {
  BitString bits;
  bits.Ue(0).Ue(0).U(1, 0).U(1, 0).Ue(0).Ue(0).Ue(0).U(1, 0).U(2, 0).Se(0).Se(0).Se(0);
  bits.U(1, 0).U(1, 0).U(1, 0);
  return Unit("\x68", bits);
}

std::string Slice() {
  BitString bits;
  bits.Ue(0).Ue(7).Ue(0).U(4, 0).Ue(0).U(8, 0).U(8, 255).U(8, 255);
  return Unit("\x65", bits);
}

std::optional<VideoFormat> Examine(const std::string& frame) {
  return H264FormatReader().Examine(reinterpret_cast<const uint8_t*>(frame.data()),
                                    static_cast<uint32_t>(frame.size()));
}

TEST(H264FormatReaderTest, ReadsSetsWithScalingLists) {
  const std::optional<VideoFormat> format = Examine(Sps(1) + Pps() + Slice());
  ASSERT_TRUE(format.has_value());
  EXPECT_EQ(format->profile_idc, 100u);
  EXPECT_EQ(format->level_idc, 30u);
  EXPECT_EQ(format->width, 640u);
  EXPECT_EQ(format->height, 344u);
}

TEST(H264FormatReaderTest, RefusesWhatIsNotValid) {
  EXPECT_FALSE(Examine("").has_value());
  EXPECT_FALSE(Examine(Sps(1) + Slice()).has_value());
  EXPECT_FALSE(Examine(Sps(77) + Pps() + Slice()).has_value());
  EXPECT_FALSE(Examine(std::string(1000, 'x')).has_value());
  const std::string whole = Sps(1) + Pps() + Slice();
  for (size_t size = 0; size < Sps(1).size(); ++size) {
    EXPECT_FALSE(Examine(whole.substr(0, size)).has_value()) << size;
  }
}

}  // namespace
}  // namespace kxrtc_host
