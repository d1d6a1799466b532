#include "kxrtc/media/video/h264/pps_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/log_capture.h"

namespace kxrtc {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::ScopedLogCapture;
using ::kx_utility::BitBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

// A PPS up to redundant_pic_cnt_present_flag.
struct PpsFields {
  uint32_t id = 1;
  uint32_t sps_id = 2;
  uint32_t entropy_coding_mode_flag = 1;
  uint32_t bottom_field_pic_order_in_frame_present_flag = 0;
  uint32_t num_slice_groups_minus1 = 0;
  BitString slice_groups;
  uint32_t weighted_pred_flag = 1;
  uint32_t weighted_bipred_idc = 2;
  int32_t pic_init_qp_minus26 = -3;
  uint32_t redundant_pic_cnt_present_flag = 1;

  BitString Write() const {
    BitString bits;
    return bits.Ue(id)
        .Ue(sps_id)
        .U(1, entropy_coding_mode_flag)
        .U(1, bottom_field_pic_order_in_frame_present_flag)
        .Ue(num_slice_groups_minus1)
        .Append(slice_groups)
        .Ue(2)
        .Ue(0)
        .U(1, weighted_pred_flag)
        .U(2, weighted_bipred_idc)
        .Se(pic_init_qp_minus26)
        .Se(-2)
        .Se(4)
        .U(2, 2)
        .U(1, redundant_pic_cnt_present_flag);
  }
};

std::unique_ptr<PpsParser::PpsState> Parse(const BitString& bits) {
  const Bytes bytes = BitString(bits).Trailing().Bytes();
  return PpsParser::ParsePps(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void ExpectParsed(const PpsFields& fields) {
  const std::unique_ptr<PpsParser::PpsState> pps = Parse(fields.Write());
  ASSERT_NE(pps, nullptr);
  EXPECT_EQ(pps->id, fields.id);
  EXPECT_EQ(pps->sps_id, fields.sps_id);
  EXPECT_EQ(pps->entropy_coding_mode_flag, fields.entropy_coding_mode_flag == 1);
  EXPECT_EQ(pps->bottom_field_pic_order_in_frame_present_flag,
            fields.bottom_field_pic_order_in_frame_present_flag == 1);
  EXPECT_EQ(pps->weighted_pred_flag, fields.weighted_pred_flag == 1);
  EXPECT_EQ(pps->weighted_bipred_idc, fields.weighted_bipred_idc);
  EXPECT_EQ(pps->pic_init_qp_minus26, fields.pic_init_qp_minus26);
  EXPECT_EQ(pps->redundant_pic_cnt_present_flag, fields.redundant_pic_cnt_present_flag);
}

TEST(PpsParserTest, AStateBeginsAsZero) {
  const PpsParser::PpsState pps;
  EXPECT_EQ(
      std::tie(pps.bottom_field_pic_order_in_frame_present_flag, pps.weighted_pred_flag,
               pps.entropy_coding_mode_flag, pps.weighted_bipred_idc,
               pps.redundant_pic_cnt_present_flag, pps.pic_init_qp_minus26, pps.id, pps.sps_id),
      std::make_tuple(false, false, false, 0u, 0u, 0, 0u, 0u));
  EXPECT_LT(offsetof(PpsParser::PpsState, bottom_field_pic_order_in_frame_present_flag),
            offsetof(PpsParser::PpsState, weighted_pred_flag));
  EXPECT_LT(offsetof(PpsParser::PpsState, weighted_pred_flag),
            offsetof(PpsParser::PpsState, entropy_coding_mode_flag));
  EXPECT_LT(offsetof(PpsParser::PpsState, pic_init_qp_minus26), offsetof(PpsParser::PpsState, id));
}

TEST(PpsParserTest, ParsesOneSliceGroup) {
  PpsFields fields;
  ExpectParsed(fields);
  fields.entropy_coding_mode_flag = 0;
  fields.bottom_field_pic_order_in_frame_present_flag = 1;
  fields.weighted_pred_flag = 0;
  fields.redundant_pic_cnt_present_flag = 0;
  fields.id = 255;
  fields.sps_id = 31;
  ExpectParsed(fields);
}

TEST(PpsParserTest, ParsesBytesThatAnEncoderWrote) {
  const Bytes payload = {0xEB, 0xE3, 0xCB, 0x22, 0xC0};
  const auto pps = PpsParser::ParsePps(payload.data(), 5);
  ASSERT_NE(pps, nullptr);
  EXPECT_EQ(pps->id, 0u);
  EXPECT_EQ(pps->sps_id, 0u);
  EXPECT_TRUE(pps->entropy_coding_mode_flag);
  EXPECT_TRUE(pps->weighted_pred_flag);
  EXPECT_EQ(pps->weighted_bipred_idc, 2u);
  EXPECT_EQ(pps->pic_init_qp_minus26, -3);
}

TEST(PpsParserTest, WeightedBipredIdcKeepsItsCodedValue) {
  for (uint32_t idc = 0; idc <= 3; ++idc) {
    PpsFields fields;
    fields.weighted_bipred_idc = idc;
    ExpectParsed(fields);
  }
}

TEST(PpsParserTest, IdentifiersAreNotRangeChecked) {
  PpsFields fields;
  fields.id = 0xFFFFFFFE;
  fields.sps_id = 0x12345678;
  ExpectParsed(fields);
}

TEST(PpsParserTest, PicInitQpHasARange) {
  for (const int32_t qp : {-26, 25, 0}) {
    PpsFields fields;
    fields.pic_init_qp_minus26 = qp;
    ExpectParsed(fields);
  }
  for (const int32_t qp : {-27, 26, INT32_MAX, -INT32_MAX}) {
    PpsFields fields;
    fields.pic_init_qp_minus26 = qp;
    ScopedLogCapture log;
    EXPECT_EQ(Parse(fields.Write()), nullptr) << qp;
    EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to parse PPS"));
    EXPECT_NE(log.raw()[0].find("[ParseInternal]"), std::string::npos);
  }
}

struct SliceGroupCase {
  std::string name;
  uint32_t num_slice_groups_minus1;
  BitString bits;
};

class SliceGroupTest : public ::testing::TestWithParam<SliceGroupCase> {};
TEST_P(SliceGroupTest, IsSkipped) {
  PpsFields fields;
  fields.num_slice_groups_minus1 = GetParam().num_slice_groups_minus1;
  fields.slice_groups = GetParam().bits;
  ExpectParsed(fields);
}
BitString Type(uint32_t type) { return BitString().Ue(type); }
INSTANTIATE_TEST_SUITE_P(
    MapTypes, SliceGroupTest,
    ::testing::Values(
        SliceGroupCase{"Type0", 2, Type(0).Ue(7).Ue(8).Ue(9)}, SliceGroupCase{"Type1", 3, Type(1)},
        SliceGroupCase{"Type2HasOnePairMoreThanTheStandard", 2,
                       Type(2).Ue(1).Ue(2).Ue(3).Ue(4).Ue(5).Ue(6)},
        SliceGroupCase{"Type3", 1, Type(3).U(1, 1).Ue(12)},
        SliceGroupCase{"Type4", 1, Type(4).U(1, 0).Ue(12)},
        SliceGroupCase{"Type5", 1, Type(5).U(1, 1).Ue(0)},
        SliceGroupCase{"Type6TwoGroupsTake2Bits", 1, Type(6).Ue(2).U(2, 1).U(2, 0).U(2, 1)},
        SliceGroupCase{"Type6ThreeGroupsTake3Bits", 2, Type(6).Ue(1).U(3, 2).U(3, 0)},
        SliceGroupCase{"Type6FourGroupsTake3Bits", 3, Type(6).Ue(0).U(3, 3)},
        SliceGroupCase{"Type6FiveGroupsTake4Bits", 4, Type(6).Ue(0).U(4, 4)},
        SliceGroupCase{"Type6EightGroupsTake4Bits", 7, Type(6).Ue(1).U(4, 7).U(4, 0)},
        SliceGroupCase{"Type7", 1, Type(7)}, SliceGroupCase{"TypeUnknown", 1, Type(100)}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(PpsParserTest, EachTruncationFails) {
  PpsFields fields;
  fields.num_slice_groups_minus1 = 1;
  fields.slice_groups = Type(6).Ue(3).U(8, 0x44);
  const std::string bits = fields.Write().bits();
  for (size_t size = 0; size <= bits.size(); ++size) {
    // Bits in front put the end of the cut data on a byte boundary.
    const size_t front = (8 - size % 8) % 8;
    const Bytes bytes = BitString(std::string(front, '0') + bits.substr(0, size)).Bytes();
    BitBuffer buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
    ASSERT_TRUE(buffer.ConsumeBits(static_cast<uint32_t>(front)));
    ScopedLogCapture log;
    const auto pps = PpsParser::ParseInternal(&buffer);
    EXPECT_EQ(pps != nullptr, size == bits.size()) << size;
    if (size == bits.size()) {
      EXPECT_THAT(log.lines(), IsEmpty());
    } else {
      EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to parse PPS"));
    }
  }
}

// With 2^32 rounds that do not end with the data, this would take minutes.
TEST(PpsParserTest, CountsNear2To32EndWithTheData) {
  const uint32_t huge = 0xFFFFFFFE;
  for (const uint32_t type : {0u, 2u, 6u}) {
    PpsFields fields;
    fields.num_slice_groups_minus1 = huge;
    fields.slice_groups = Type(type).Ue(huge).U(16, 0xFFFF);
    EXPECT_EQ(Parse(fields.Write()), nullptr);
    fields.num_slice_groups_minus1 = 1;
    EXPECT_EQ(Parse(fields.Write()) == nullptr, type == 6);
  }
}

TEST(PpsParserTest, SliceGroupIdsOf33BitsFail) {
  PpsFields fields;
  fields.num_slice_groups_minus1 = 0x80000000;
  fields.slice_groups = Type(6).Ue(0).U(33, 0);
  EXPECT_EQ(Parse(fields.Write()), nullptr);
}

TEST(PpsParserTest, ParsesTheIdentifiersAlone) {
  const Bytes bytes = BitString().Ue(9).Ue(4).Bytes();
  uint32_t pps_id = 0;
  uint32_t sps_id = 0;
  EXPECT_TRUE(
      PpsParser::ParsePpsIds(bytes.data(), static_cast<uint32_t>(bytes.size()), &pps_id, &sps_id));
  EXPECT_EQ(pps_id, 9u);
  EXPECT_EQ(sps_id, 4u);
}

TEST(PpsParserTest, AMissingSpsIdLeavesThePpsIdWritten) {
  const Bytes bytes = {0x40};  // 010, then zeros only.
  uint32_t pps_id = 7;
  uint32_t sps_id = 8;
  ScopedLogCapture log;
  EXPECT_FALSE(PpsParser::ParsePpsIds(bytes.data(), 1, &pps_id, &sps_id));
  EXPECT_EQ(pps_id, 1u);
  EXPECT_EQ(sps_id, 8u);
  EXPECT_FALSE(PpsParser::ParsePpsIds(bytes.data(), 0, &pps_id, &sps_id));
  EXPECT_EQ(pps_id, 1u);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(PpsParserTest, NullPointersForIdentifiersAreLogged) {
  const Bytes bytes = {0xFF};
  uint32_t id = 7;
  ScopedLogCapture log;
  EXPECT_FALSE(PpsParser::ParsePpsIds(bytes.data(), 1, nullptr, &id));
  EXPECT_FALSE(PpsParser::ParsePpsIds(bytes.data(), 1, &id, nullptr));
  EXPECT_FALSE(PpsParser::ParsePpsIds(bytes.data(), 1, nullptr, nullptr));
  EXPECT_EQ(id, 7u);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR pps_id is nullptr ", "ERROR sps_id is nullptr ",
                                       "ERROR pps_id is nullptr "));
}

TEST(PpsParserTest, ReadsThePpsIdOfASlice) {
  const Bytes bytes = BitString().Ue(0).Ue(7).Ue(1).U(4, 0xF).Bytes();
  const auto id = PpsParser::ParsePpsIdFromSlice(bytes.data(), static_cast<uint32_t>(bytes.size()));
  ASSERT_NE(id, nullptr);
  EXPECT_EQ(*id, 1u);
}

TEST(PpsParserTest, ReadsThePpsIdOfASliceBehindTheLongestCodesAndEscapes) {
  // Each code of 63 bits; the RBSP of 24 bytes begins with zeros that need escapes.
  const Bytes bytes = {0x00, 0x00, 0x03, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFE, 0x00,
                       0x00, 0x03, 0x00, 0x03, 0xFF, 0xFF, 0xFF, 0xFC, 0x00, 0x00,
                       0x03, 0x00, 0x04, 0x00, 0x00, 0x03, 0x00, 0x80};
  const auto id = PpsParser::ParsePpsIdFromSlice(bytes.data(), static_cast<uint32_t>(bytes.size()));
  ASSERT_NE(id, nullptr);
  EXPECT_EQ(*id, 0x8000000Fu);
}

TEST(PpsParserTest, ATruncatedSliceHasNoPpsIdAndLogsNothing) {
  ScopedLogCapture log;
  const Bytes zero = {0x00};
  EXPECT_EQ(PpsParser::ParsePpsIdFromSlice(zero.data(), 1), nullptr);
  EXPECT_EQ(PpsParser::ParsePpsIdFromSlice(nullptr, 0), nullptr);
  const Bytes two_codes = {0xC0};
  EXPECT_EQ(PpsParser::ParsePpsIdFromSlice(two_codes.data(), 1), nullptr);
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace kxrtc
