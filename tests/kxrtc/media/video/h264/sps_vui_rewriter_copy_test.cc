// The steps of the rewriting that copy bits from one parameter set to the next.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kxrtc/media/video/h264/sps_vui_rewriter.h"
#include "tests/testing/bit_string.h"
#include "tests/testing/failed_expressions.h"
#include "tests/testing/vui_script.h"

namespace kxrtc {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::FailedExpressions;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::ToBits;
using ::kx_testing::VuiFields;
using ::kx_testing::VuiScript;
using ::kx_utility::BitBuffer;
using ::kx_utility::BitBufferWriter;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

constexpr auto kFailure = SpsVuiRewriter::ParseResult::kFailure;
constexpr auto kVuiOk = SpsVuiRewriter::ParseResult::kVuiOk;
constexpr auto kVuiRewritten = SpsVuiRewriter::ParseResult::kVuiRewritten;

// Bits that end on a byte boundary whatever their number: they begin inside the first byte.
class AlignedBits {
 public:
  explicit AlignedBits(const std::string& bits)
      : front_((8 - bits.size() % 8) % 8),
        bytes_(BitString(std::string(front_, '0') + bits).Bytes()) {}

  BitBuffer Reader() const {
    BitBuffer buffer(bytes_.data(), static_cast<uint32_t>(bytes_.size()));
    EXPECT_TRUE(buffer.ConsumeBits(static_cast<uint32_t>(front_)));
    return buffer;
  }
  BitBufferWriter Writer() {
    BitBufferWriter buffer(bytes_.data(), static_cast<uint32_t>(bytes_.size()));
    EXPECT_TRUE(buffer.ConsumeBits(static_cast<uint32_t>(front_)));
    return buffer;
  }
  std::string bits() const { return ToBits(bytes_).substr(front_); }

 private:
  size_t front_;
  Bytes bytes_;
};

struct VuiCase {
  std::string name;
  VuiFields vui;
  bool present = true;
};

std::vector<VuiCase> VuiCases() {
  VuiFields small;
  VuiFields all;
  all.aspect_ratio = all.extended_sar = all.overscan = all.video_signal = all.colour_description =
      all.chroma_loc = all.timing = all.restriction = true;
  all.nal_hrd_count = 1;
  all.vcl_hrd_count = 3;
  VuiFields all_but_restriction = all;
  all_but_restriction.restriction = false;
  VuiFields ok = all;
  ok.max_num_reorder_frames = 0;
  VuiFields nal_only = small;
  nal_only.aspect_ratio = true;
  nal_only.nal_hrd_count = 2;
  VuiFields vcl_only = small;
  vcl_only.vcl_hrd_count = 1;
  vcl_only.video_signal = true;
  VuiFields many_schedules = small;
  many_schedules.nal_hrd_count = 40;
  VuiFields large_buffering = small;
  large_buffering.restriction = true;
  large_buffering.max_num_reorder_frames = 0;
  large_buffering.max_dec_frame_buffering = 5;
  return {{"NoVui", {}, false},
          {"Small", small},
          {"AllElements", all},
          {"AllElementsButTheRestriction", all_but_restriction},
          {"AllElementsAlreadyFine", ok},
          {"NalHrdOnly", nal_only},
          {"VclHrdOnly", vcl_only},
          {"MoreSchedulesThanTheStandardAllows", many_schedules},
          {"LargeDecFrameBuffering", large_buffering}};
}

class CopyAndRewriteVuiTest : public ::testing::TestWithParam<VuiCase> {
 protected:
  static constexpr uint32_t kRefFrames = 4;
  VuiScript GetScript() const {
    return GetParam().present ? VuiScript::Of(GetParam().vui, kRefFrames)
                              : VuiScript::NoVui(kRefFrames);
  }
  SpsParser::SpsState State() const {
    SpsParser::SpsState sps;
    sps.max_num_ref_frames = kRefFrames;
    sps.vui_params_present = GetParam().present ? 1 : 0;
    return sps;
  }
};

TEST_P(CopyAndRewriteVuiTest, CopiesEachElementAndRewritesTheRestriction) {
  const VuiScript script = GetScript();
  const AlignedBits source_bits(script.source());
  AlignedBits target(std::string(script.destination().size(), '0'));
  BitBuffer source = source_bits.Reader();
  BitBufferWriter writer = target.Writer();
  SpsVuiRewriter::ParseResult result = kFailure;
  ScopedLogCapture log;
  ASSERT_TRUE(CopyAndRewriteVui(State(), &source, &writer, &result));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(target.bits(), script.destination());
  EXPECT_EQ(source.RemainingBitCount(), 0u);
  EXPECT_EQ(writer.RemainingBitCount(), 0u);
  EXPECT_EQ(result, GetParam().name == "AllElementsAlreadyFine" ? kVuiOk : kVuiRewritten);
}

TEST_P(CopyAndRewriteVuiTest, NamesTheFailingReadAtEachBit) {
  const VuiScript script = GetScript();
  const std::string bits = script.source();
  for (size_t size = 0; size < bits.size(); ++size) {
    const AlignedBits source_bits(bits.substr(0, size));
    AlignedBits target(std::string(script.destination().size(), '0'));
    BitBuffer source = source_bits.Reader();
    BitBufferWriter writer = target.Writer();
    SpsVuiRewriter::ParseResult result = kFailure;
    ScopedLogCapture log;
    ASSERT_FALSE(CopyAndRewriteVui(State(), &source, &writer, &result)) << size;
    ASSERT_EQ(FailedExpressions(log), script.Messages(size, SIZE_MAX)) << size;
    ASSERT_EQ(result, kFailure);
    ASSERT_NE(log.raw().back().find("[CopyAndRewriteVui]"), std::string::npos);
  }
}

TEST_P(CopyAndRewriteVuiTest, NamesTheFailingWriteAtEachBit) {
  const VuiScript script = GetScript();
  const std::string bits = script.destination();
  for (size_t size = 0; size < bits.size(); ++size) {
    const AlignedBits source_bits(script.source());
    AlignedBits target(std::string(size, '0'));
    BitBuffer source = source_bits.Reader();
    BitBufferWriter writer = target.Writer();
    SpsVuiRewriter::ParseResult result = kFailure;
    ScopedLogCapture log;
    ASSERT_FALSE(CopyAndRewriteVui(State(), &source, &writer, &result)) << size;
    ASSERT_EQ(FailedExpressions(log), script.Messages(SIZE_MAX, size)) << size;
    ASSERT_EQ(result, kFailure);
  }
}

INSTANTIATE_TEST_SUITE_P(Vuis, CopyAndRewriteVuiTest, ::testing::ValuesIn(VuiCases()),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(SpsVuiCopyTest, CopyHrdParametersNamesItsOwnSteps) {
  VuiScript script;
  script.Hrd(2);
  const std::string bits = script.source();
  for (size_t size = 0; size <= bits.size(); ++size) {
    const AlignedBits source_bits(bits.substr(0, size));
    AlignedBits target(std::string(bits.size(), '0'));
    BitBuffer source = source_bits.Reader();
    BitBufferWriter writer = target.Writer();
    ScopedLogCapture log;
    ASSERT_EQ(CopyHrdParameters(&source, &writer), size == bits.size());
    std::vector<std::string> expected = script.Messages(size, SIZE_MAX);
    if (!expected.empty()) {
      expected.resize(1);
      ASSERT_NE(log.raw()[0].find("[CopyHrdParameters]"), std::string::npos);
    }
    ASSERT_EQ(FailedExpressions(log), expected);
  }
}

TEST(SpsVuiCopyTest, CopyHrdParametersOnlyReadsWithoutDestination) {
  VuiScript script;
  script.Hrd(3);
  const AlignedBits source_bits(script.source());
  BitBuffer source = source_bits.Reader();
  EXPECT_TRUE(CopyHrdParameters(&source, nullptr));
  EXPECT_EQ(source.RemainingBitCount(), 0u);
}

TEST(SpsVuiCopyTest, AScheduleCountNear2To32EndsWithTheData) {
  const Bytes bytes = BitString().Ue(0xFFFFFFFE).U(8, 0).U(32, 0xFFFFFFFF).Bytes();
  BitBuffer source(bytes.data(), static_cast<uint32_t>(bytes.size()));
  ScopedLogCapture log;
  EXPECT_FALSE(CopyHrdParameters(&source, nullptr));
  EXPECT_THAT(FailedExpressions(log), ElementsAre("(source)->ReadExponentialGolomb(&golomb_tmp)"));
}

TEST(SpsVuiCopyTest, AddBitstreamRestrictionRefusesACountWithoutCode) {
  Bytes bytes(32);
  BitBufferWriter writer(bytes.data(), 32);
  ScopedLogCapture log;
  EXPECT_FALSE(AddBitstreamRestriction(&writer, 0xFFFFFFFF));
  EXPECT_THAT(FailedExpressions(log),
              ElementsAre("destination->WriteExponentialGolomb(max_num_ref_frames)"));
  EXPECT_NE(log.raw()[0].find("[AddBitstreamRestriction]"), std::string::npos);
}

// For each number of remaining bits: those up to the byte boundary and all 32-bit chunks but the
// last one arrive.
TEST(SpsVuiCopyTest, CopyRemainingBitsDeliberatelyDropsTheLastChunk) {
  for (size_t size = 0; size <= 140; ++size) {
    std::string bits;
    for (size_t i = 0; i < size; ++i) bits += i * 7 % 5 < 2 ? '1' : '0';
    const size_t whole = size - size % 8;
    const size_t kept = size % 8 + (whole == 0 ? 0 : (whole - 1) / 32 * 32);
    const AlignedBits source_bits(bits);
    AlignedBits target(std::string(160, '0'));
    BitBuffer source = source_bits.Reader();
    BitBufferWriter writer = target.Writer();
    ASSERT_TRUE(CopyRemainingBits(&source, &writer));
    EXPECT_EQ(source.RemainingBitCount(), 0u);
    EXPECT_EQ(writer.RemainingBitCount(), 160 - kept) << size;
    EXPECT_EQ(target.bits(), bits.substr(0, kept) + std::string(160 - kept, '0')) << size;

    BitBuffer again = source_bits.Reader();
    EXPECT_TRUE(CopyRemainingBits(&again, nullptr));
    EXPECT_EQ(again.RemainingBitCount(), 0u);
  }
}

TEST(SpsVuiCopyTest, CopyRemainingBitsNamesTheFailingWrite) {
  struct Case {
    size_t remaining;
    size_t room;
    const char* text;
  };
  for (const Case& c : {Case{13, 4, "(destination)->WriteBits(bits_tmp, misaligned_bits)"},
                        Case{40, 31, "(destination)->WriteBits(bits_tmp, count)"},
                        Case{72, 63, "(destination)->WriteBits(bits_tmp, count)"}}) {
    const AlignedBits source_bits(std::string(c.remaining, '1'));
    AlignedBits target(std::string(c.room, '0'));
    BitBuffer source = source_bits.Reader();
    BitBufferWriter writer = target.Writer();
    ScopedLogCapture log;
    EXPECT_FALSE(CopyRemainingBits(&source, &writer));
    EXPECT_THAT(FailedExpressions(log), ElementsAre(c.text));
    EXPECT_NE(log.raw()[0].find("[CopyRemainingBits]"), std::string::npos);
  }
}

}  // namespace
}  // namespace kxrtc
