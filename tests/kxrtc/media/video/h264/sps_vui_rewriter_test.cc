#include "kxrtc/media/video/h264/sps_vui_rewriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/h264_builder.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/vui_script.h"

namespace kxrtc {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::SpsFields;
using ::kx_testing::ToBits;
using ::kx_testing::VuiFields;
using ::kx_testing::VuiScript;
using ::kx_utility::BitBuffer;
using ::kx_utility::BitBufferWriter;
using ::kx_utility::RawBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

constexpr auto kFailure = SpsVuiRewriter::ParseResult::kFailure;
constexpr auto kPocTypeOk = SpsVuiRewriter::ParseResult::kPocTypeOk;
constexpr auto kVuiOk = SpsVuiRewriter::ParseResult::kVuiOk;
constexpr auto kVuiRewritten = SpsVuiRewriter::ParseResult::kVuiRewritten;

// The expressions of the logged " (line:<n>) FAILED: <expression>" lines; a line of another form,
// or whose number differs from the one of its record, stays whole.
std::vector<std::string> Expressions(const ScopedLogCapture& log) {
  std::vector<std::string> result = log.lines();
  const std::vector<std::string> raw = log.raw();
  for (size_t i = 0; i < result.size(); ++i) {
    const size_t place = raw[i].find("] (line:");
    if (place == std::string::npos) continue;
    const size_t number = raw[i].rfind('[', place) + 1;
    const std::string head = "ERROR  (line:" + raw[i].substr(number, place - number) + ") FAILED: ";
    if (result[i].rfind(head, 0) == 0) result[i] = result[i].substr(head.size());
  }
  return result;
}

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
    ASSERT_EQ(Expressions(log), script.Messages(size, SIZE_MAX)) << size;
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
    ASSERT_EQ(Expressions(log), script.Messages(SIZE_MAX, size)) << size;
    ASSERT_EQ(result, kFailure);
  }
}

INSTANTIATE_TEST_SUITE_P(Vuis, CopyAndRewriteVuiTest, ::testing::ValuesIn(VuiCases()),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(SpsVuiRewriterTest, ResultValuesAreFixed) {
  EXPECT_EQ(static_cast<int>(kFailure), 0);
  EXPECT_EQ(static_cast<int>(kPocTypeOk), 1);
  EXPECT_EQ(static_cast<int>(kVuiOk), 2);
  EXPECT_EQ(static_cast<int>(kVuiRewritten), 3);
}

TEST(SpsVuiRewriterTest, CopyHrdParametersNamesItsOwnSteps) {
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
    ASSERT_EQ(Expressions(log), expected);
  }
}

TEST(SpsVuiRewriterTest, CopyHrdParametersOnlyReadsWithoutDestination) {
  VuiScript script;
  script.Hrd(3);
  const AlignedBits source_bits(script.source());
  BitBuffer source = source_bits.Reader();
  EXPECT_TRUE(CopyHrdParameters(&source, nullptr));
  EXPECT_EQ(source.RemainingBitCount(), 0u);
}

TEST(SpsVuiRewriterTest, AScheduleCountNear2To32EndsWithTheData) {
  const Bytes bytes = BitString().Ue(0xFFFFFFFE).U(8, 0).U(32, 0xFFFFFFFF).Bytes();
  BitBuffer source(bytes.data(), static_cast<uint32_t>(bytes.size()));
  ScopedLogCapture log;
  EXPECT_FALSE(CopyHrdParameters(&source, nullptr));
  EXPECT_THAT(Expressions(log), ElementsAre("(source)->ReadExponentialGolomb(&golomb_tmp)"));
}

TEST(SpsVuiRewriterTest, AddBitstreamRestrictionRefusesACountWithoutCode) {
  Bytes bytes(32);
  BitBufferWriter writer(bytes.data(), 32);
  ScopedLogCapture log;
  EXPECT_FALSE(AddBitstreamRestriction(&writer, 0xFFFFFFFF));
  EXPECT_THAT(Expressions(log),
              ElementsAre("destination->WriteExponentialGolomb(max_num_ref_frames)"));
  EXPECT_NE(log.raw()[0].find("[AddBitstreamRestriction]"), std::string::npos);
}

// For each number of remaining bits: those up to the byte boundary and all 32-bit chunks but the
// last one arrive.
TEST(SpsVuiRewriterTest, CopyRemainingBitsDeliberatelyDropsTheLastChunk) {
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

TEST(SpsVuiRewriterTest, CopyRemainingBitsNamesTheFailingWrite) {
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
    EXPECT_THAT(Expressions(log), ElementsAre(c.text));
    EXPECT_NE(log.raw()[0].find("[CopyRemainingBits]"), std::string::npos);
  }
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
    EXPECT_EQ(Expressions(rewriting.log), expected);
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
