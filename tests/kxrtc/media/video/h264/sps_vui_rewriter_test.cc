#include "kxrtc/media/video/h264/sps_vui_rewriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/failed_expressions.h"
#include "tests/testing/h264_builder.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/vui_script.h"

namespace kxrtc {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::FailedExpressions;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::SpsFields;
using ::kx_testing::ToBits;
using ::kx_testing::VuiFields;
using ::kx_testing::VuiScript;
using ::kx_utility::RawBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

constexpr auto kFailure = SpsVuiRewriter::ParseResult::kFailure;
constexpr auto kPocTypeOk = SpsVuiRewriter::ParseResult::kPocTypeOk;
constexpr auto kVuiOk = SpsVuiRewriter::ParseResult::kVuiOk;
constexpr auto kVuiRewritten = SpsVuiRewriter::ParseResult::kVuiRewritten;

TEST(SpsVuiRewriterTest, ResultValuesAreFixed) {
  EXPECT_EQ(static_cast<int>(kFailure), 0);
  EXPECT_EQ(static_cast<int>(kPocTypeOk), 1);
  EXPECT_EQ(static_cast<int>(kVuiOk), 2);
  EXPECT_EQ(static_cast<int>(kVuiRewritten), 3);
}

// One call of ParseAndRewriteSps() and what came of it.
struct Rewriting {
  explicit Rewriting(const Bytes& payload) {
    const Bytes before = {0xAB};
    EXPECT_TRUE(destination.AppendData(before.data(), 1));
    sps.id = 77;
    result = SpsVuiRewriter::ParseAndRewriteSps(
        payload.data(), static_cast<uint32_t>(payload.size()), &sps, sps_parsed, &destination);
    EXPECT_EQ(destination.data()[0], 0xAB);
    appended.assign(destination.data() + 1, destination.data() + destination.size());
  }
  ScopedLogCapture log;
  SpsParser::SpsState sps;
  bool sps_parsed = true;
  RawBuffer destination;
  SpsVuiRewriter::ParseResult result;
  Bytes appended;
};

BitString SpsWithVui(SpsFields fields, const VuiFields& vui) {
  fields.vui_parameters_present_flag = 1;
  const VuiScript script = VuiScript::Of(vui, fields.max_num_ref_frames);
  return fields.Write().Append(BitString(script.source())).Trailing();
}

// Clause 7.4.1.
Bytes Escaped(const Bytes& rbsp) {
  Bytes payload;
  int zeros = 0;
  for (const uint8_t byte : rbsp) {
    if (zeros >= 2 && byte <= 3) {
      payload.push_back(3);
      zeros = 0;
    }
    payload.push_back(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return payload;
}

// The RBSP that comes of SpsWithVui(): the trailing bits arrive only where they share a byte with
// the end of the VUI.
Bytes RewrittenSpsWithVui(const SpsFields& fields, const VuiFields& vui) {
  const VuiScript script = VuiScript::Of(vui, fields.max_num_ref_frames);
  const size_t vui_end = fields.Write().size() + script.source().size();
  std::string bits = fields.Write().bits();
  bits.pop_back();
  bits += script.destination();
  if (vui_end % 8 != 0) bits += SpsWithVui(fields, vui).bits().substr(vui_end);
  return BitString(bits).Bytes();
}

TEST(SpsVuiRewriterTest, AddsAVuiToAnSpsWithout) {
  const SpsFields fields;
  const std::string start = fields.Write().bits();
  const Rewriting rewriting(fields.Write().Trailing().Bytes());
  EXPECT_EQ(rewriting.result, kVuiRewritten);
  EXPECT_TRUE(rewriting.sps_parsed);
  EXPECT_EQ(rewriting.sps.width, 1280u);
  EXPECT_EQ(rewriting.sps.vui_params_present, 0u);
  const BitString vui = BitString(
                            "1"
                            "00000000"
                            "1"
                            "1")
                            .Ue(2)
                            .Ue(1)
                            .Ue(16)
                            .Ue(16)
                            .Ue(0)
                            .Ue(1);
  std::string expected = start.substr(0, start.size() - 1) + vui.bits();
  expected += BitString(start).Trailing().bits().substr(start.size());
  EXPECT_EQ(ToBits(rewriting.appended).substr(0, expected.size()), expected);
  EXPECT_EQ(rewriting.appended.size(), (expected.size() + 7) / 8);
  EXPECT_THAT(rewriting.log.lines(), IsEmpty());
}

TEST(SpsVuiRewriterTest, PicOrderCntType2NeedsNothing) {
  for (const uint32_t type : {2u, 3u, 1000u}) {
    SpsFields fields;
    fields.pic_order_cnt_type = type;
    const Rewriting rewriting(fields.Write().Trailing().Bytes());
    EXPECT_EQ(rewriting.result, kPocTypeOk);
    EXPECT_TRUE(rewriting.sps_parsed);
    EXPECT_EQ(rewriting.sps.pic_order_cnt_type, type);
    EXPECT_EQ(rewriting.sps.height, 720u);
    EXPECT_THAT(rewriting.appended, IsEmpty());
  }
}

TEST(SpsVuiRewriterTest, PicOrderCntType1IsRewritten) {
  SpsFields fields;
  fields.pic_order_cnt_type = 1;
  EXPECT_EQ(Rewriting(fields.Write().Trailing().Bytes()).result, kVuiRewritten);
}

struct RestrictionCase {
  const char* name;
  uint32_t reorder;
  uint32_t buffering;
  SpsVuiRewriter::ParseResult result;
};
class RestrictionTest : public ::testing::TestWithParam<RestrictionCase> {};
TEST_P(RestrictionTest, DecidesOverTheRewriting) {
  SpsFields fields;
  fields.max_num_ref_frames = 3;
  VuiFields vui;
  vui.timing = vui.restriction = true;
  vui.nal_hrd_count = 1;
  vui.max_num_reorder_frames = GetParam().reorder;
  vui.max_dec_frame_buffering = GetParam().buffering;
  const BitString sps = SpsWithVui(fields, vui);
  const Rewriting rewriting(sps.Bytes());
  EXPECT_EQ(rewriting.result, GetParam().result);
  EXPECT_TRUE(rewriting.sps_parsed);
  EXPECT_EQ(rewriting.sps.max_num_ref_frames, 3u);
  EXPECT_THAT(rewriting.log.lines(), IsEmpty());
  if (GetParam().result == kVuiOk) {
    EXPECT_THAT(rewriting.appended, IsEmpty());
    return;
  }
  EXPECT_EQ(rewriting.appended, Escaped(RewrittenSpsWithVui(fields, vui)));
}
INSTANTIATE_TEST_SUITE_P(Values, RestrictionTest,
                         ::testing::Values(RestrictionCase{"Equal", 0, 3, kVuiOk},
                                           RestrictionCase{"Smaller", 0, 0, kVuiOk},
                                           RestrictionCase{"LargerBuffering", 0, 4, kVuiRewritten},
                                           RestrictionCase{"Reordering", 2, 3, kVuiRewritten},
                                           RestrictionCase{"Both", 1, 16, kVuiRewritten}),
                         [](const auto& param_info) { return param_info.param.name; });

// At each bit position of the VUI's end in its byte.
TEST(SpsVuiRewriterTest, TrailingBitsSurviveOnlyInTheLastByteOfTheVui) {
  int kept = 0;
  int dropped = 0;
  for (uint32_t frame_num = 0; frame_num < 4; ++frame_num) {
    for (uint32_t id = 0; id < 8; ++id) {
      SpsFields fields;
      fields.id = id;
      fields.log2_max_frame_num_minus4 = frame_num;
      VuiFields vui;
      vui.restriction = true;
      const size_t vui_end = fields.Write().size() + VuiScript::Of(vui, 1).source().size();
      ++(vui_end % 8 != 0 ? kept : dropped);
      const Rewriting rewriting(SpsWithVui(fields, vui).Bytes());
      ASSERT_EQ(rewriting.result, kVuiRewritten);
      ASSERT_EQ(rewriting.appended, Escaped(RewrittenSpsWithVui(fields, vui)));
    }
  }
  EXPECT_GT(kept, 0);
  EXPECT_GT(dropped, 0);
}

SpsFields SpsThatEndsWithAByte() {
  SpsFields fields;
  for (fields.frame_mbs_only_flag = 0; fields.frame_mbs_only_flag < 2;
       ++fields.frame_mbs_only_flag) {
    for (fields.id = 0; fields.id < 8; ++fields.id) {
      if (fields.Write().size() % 8 == 0) return fields;
    }
  }
  ADD_FAILURE();
  return SpsFields();
}

TEST(SpsVuiRewriterTest, WholeBytesBehindTheVuiAreDeliberatelyDropped) {
  const SpsFields fields = SpsThatEndsWithAByte();
  const std::string start = fields.Write().bits();
  for (const size_t extra : {1, 2, 3, 4, 5, 8, 9}) {
    const std::string tail(extra * 8, '1');
    const Rewriting rewriting(BitString(start + tail).Bytes());
    ASSERT_EQ(rewriting.result, kVuiRewritten);
    const size_t kept = (extra - 1) / 4 * 32;
    std::string expected = start.substr(0, start.size() - 1);
    expected += VuiScript::NoVui(1).destination() + tail.substr(0, kept);
    expected.resize((expected.size() + 7) / 8 * 8, '0');
    EXPECT_EQ(ToBits(rewriting.appended), expected) << extra;
  }
}

TEST(SpsVuiRewriterTest, ScalingListsAreAFailure) {
  SpsFields fields;
  fields.profile_idc = 100;
  fields.chroma_fields = true;
  fields.scaling_list_present_flags = "10000000";
  const Rewriting rewriting(fields.Write().Trailing().Bytes());
  EXPECT_EQ(rewriting.result, kFailure);
  EXPECT_FALSE(rewriting.sps_parsed);
  EXPECT_EQ(rewriting.sps.id, 77u);
  EXPECT_THAT(rewriting.appended, IsEmpty());
  EXPECT_THAT(rewriting.log.lines(),
              ElementsAre("WARNING SPS contains scaling lists, which are unsupported.",
                          "ERROR failed in SpsParser::ParseSpsUpToVui"));
}

TEST(SpsVuiRewriterTest, ATruncatedSpsIsAFailure) {
  const Bytes bytes = SpsFields().Write().Bytes();
  for (size_t size = 0; size + 1 < bytes.size(); ++size) {
    const Rewriting rewriting(Bytes(bytes.begin(), bytes.begin() + static_cast<long>(size)));
    EXPECT_EQ(rewriting.result, kFailure);
    EXPECT_FALSE(rewriting.sps_parsed);
    EXPECT_EQ(rewriting.sps.id, 77u);
    EXPECT_THAT(rewriting.appended, IsEmpty());
    EXPECT_THAT(rewriting.log.lines(), ElementsAre("ERROR failed to parse SPS",
                                                   "ERROR failed in SpsParser::ParseSpsUpToVui"));
  }
}

TEST(SpsVuiRewriterTest, ATruncatedVuiIsAFailureOfAParsedSps) {
  SpsFields fields;
  fields.vui_parameters_present_flag = 1;
  VuiFields vui;
  vui.aspect_ratio = vui.timing = vui.restriction = true;
  vui.nal_hrd_count = 2;
  const std::string sps = fields.Write().bits();
  const VuiScript script = VuiScript::Of(vui, 1);
  const std::string bits = sps + script.source();
  for (size_t bytes = (sps.size() + 7) / 8; bytes * 8 < bits.size(); ++bytes) {
    const Rewriting rewriting(BitString(bits.substr(0, bytes * 8)).Bytes());
    EXPECT_EQ(rewriting.result, kFailure);
    EXPECT_TRUE(rewriting.sps_parsed);
    EXPECT_EQ(rewriting.sps.width, 1280u);
    EXPECT_THAT(rewriting.appended, IsEmpty());
    std::vector<std::string> expected = script.Messages(bytes * 8 - sps.size(), SIZE_MAX);
    expected.emplace_back("ERROR Failed to parse/copy SPS VUI.");
    EXPECT_EQ(FailedExpressions(rewriting.log), expected);
  }
}

TEST(SpsVuiRewriterTest, UnescapesItsInputAndEscapesWhatItAppends) {
  SpsFields fields;
  VuiFields vui;
  vui.timing = true;  // num_units_in_tick is 1, so three bytes are zero wherever it begins.
  const Bytes rbsp = SpsWithVui(fields, vui).Bytes();
  const Bytes payload = Escaped(rbsp);
  ASSERT_GT(payload.size(), rbsp.size());
  const Rewriting rewriting(payload);
  ASSERT_EQ(rewriting.result, kVuiRewritten);
  const Bytes expected = RewrittenSpsWithVui(fields, vui);
  EXPECT_EQ(rewriting.appended, Escaped(expected));
  EXPECT_GT(rewriting.appended.size(), expected.size());
}

TEST(SpsVuiRewriterTest, AMissingDestinationIsLoggedAndTheFunctionGoesOn) {
  const Bytes payload = SpsFields().Write().Trailing().Bytes();
  SpsParser::SpsState sps;
  bool sps_parsed = false;
  ScopedLogCapture log;
  EXPECT_EQ(SpsVuiRewriter::ParseAndRewriteSps(
                payload.data(), static_cast<uint32_t>(payload.size()), &sps, sps_parsed, nullptr),
            kVuiRewritten);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR destination is nullptr"));
}

}  // namespace
}  // namespace kxrtc
