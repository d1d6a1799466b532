// The parsers keep no state: threads that read the same bytes get what one alone gets.
#include <gmock/gmock.h>

#include <vector>

#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/media/video/h264/pps_parser.h"
#include "kxrtc/media/video/h264/sps_parser.h"
#include "kxrtc/media/video/h264/sps_vui_rewriter.h"
#include "tests/testing/h264_builder.h"
#include "tests/testing/run_on_threads.h"

namespace kxrtc {
namespace {

TEST(H264ConcurrencyTest, AllFunctionsMayRunAtOnce) {
  const std::vector<uint8_t> sps = kx_testing::SpsFields().Write().Trailing().Bytes();
  const std::vector<uint8_t> pps = {0xCE, 0x3C, 0x80};
  const std::vector<uint8_t> stream = {0, 0, 0, 1, 0x67, 0x42, 0, 0, 1, 0x65, 0x88};
  const auto length = [](const auto& bytes) { return static_cast<uint32_t>(bytes.size()); };
  SpsParser::SpsState expected;
  ASSERT_TRUE(SpsParser::ParseSps(sps.data(), length(sps), expected));
  ASSERT_NE(PpsParser::ParsePps(pps.data(), length(pps)), nullptr);
  kx_testing::RunOnThreads(4, [&] {
    for (int i = 0; i < 200; ++i) {
      EXPECT_EQ(H264::FindNaluIndices(stream.data(), length(stream)).size(), 2u);
      EXPECT_TRUE(H264::IsKeyFrame(stream.data(), length(stream)));
      SpsParser::SpsState state;
      EXPECT_TRUE(SpsParser::ParseSps(sps.data(), length(sps), state));
      EXPECT_EQ(state.width, expected.width);
      EXPECT_NE(PpsParser::ParsePps(pps.data(), length(pps)), nullptr);
      kx_utility::RawBuffer rewritten;
      bool parsed = false;
      EXPECT_EQ(
          SpsVuiRewriter::ParseAndRewriteSps(sps.data(), length(sps), &state, parsed, &rewritten),
          SpsVuiRewriter::ParseResult::kVuiRewritten);
      EXPECT_TRUE(parsed);
    }
  });
}

}  // namespace
}  // namespace kxrtc
