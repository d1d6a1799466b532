#include "record/stream/slice_header.h"

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/testing/slice_builder.h"

namespace kxrtc_host {
namespace {

using kx_testing::BitString;
using kx_testing::SpsFields;

// What the parameter sets say; both have the id 0.
struct Sets {
  bool has_planes = false;
  bool is_grey = false;
  bool weighted_pred = false;
  uint32_t weighted_bipred_idc = 0;
};

void Add(const std::string& unit, PictureParameterSets* sets) {
  sets->Add(
      {reinterpret_cast<const uint8_t*>(unit.data()) + 3, static_cast<uint32_t>(unit.size() - 3)});
}

PictureParameterSets Write(const Sets& sets) {
  SpsFields sps;
  sps.profile_idc = 244;
  sps.chroma_fields = true;
  sps.chroma_format_idc = sets.has_planes ? 3 : sets.is_grey ? 0 : 1;
  sps.separate_colour_plane_flag = sets.has_planes ? 1 : 0;
  BitString pps;  // Two references of the first list, three of the second.
  pps.Ue(0).Ue(0).U(1, 0).U(1, 0).Ue(0).Ue(1).Ue(2);
  pps.U(1, sets.weighted_pred).U(2, sets.weighted_bipred_idc);
  pps.Se(0).Se(0).Se(0).U(2, 0).U(1, 0);
  PictureParameterSets written;
  Add(kx_testing::Unit(0x67, sps.Write()), &written);
  Add(kx_testing::Unit(0x68, pps), &written);
  return written;
}

// Up to pic_order_cnt_lsb.
BitString Begin(uint32_t type, bool has_planes = false) {
  BitString bits;
  bits.Ue(0).Ue(type).Ue(0);
  if (has_planes) bits.U(2, 2);
  return bits.U(4, 9).U(6, 33);
}

// The weights of one list: of the first reference for luma, of the last for chroma.
BitString Weights(int references, bool has_chroma) {
  BitString bits;
  for (int i = 0; i < references; ++i) {
    bits.U(1, i == 0);
    if (i == 0) bits.Se(-7).Se(12);
    if (!has_chroma) continue;
    bits.U(1, i == references - 1);
    if (i == references - 1) bits.Se(3).Se(-4).Se(5).Se(-6);
  }
  return bits;
}

// Ends with an operation that resets the order, so a header that is read wrongly shows.
const BitString kMarking = BitString()
                               .U(1, 1)
                               .Ue(1)
                               .Ue(20)
                               .Ue(2)
                               .Ue(21)
                               .Ue(3)
                               .Ue(22)
                               .Ue(23)
                               .Ue(4)
                               .Ue(24)
                               .Ue(6)
                               .Ue(25)
                               .Ue(5)
                               .Ue(0);

BitString Join(const std::vector<BitString>& parts) {
  BitString all;
  for (const BitString& part : parts) all.Append(part);
  return all;
}

struct HeaderCase {
  const char* name;
  Sets sets;
  BitString bits;
};

void PrintTo(const HeaderCase& test, std::ostream* out) { *out << test.name; }

class SliceHeaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(SliceHeaderTest, IsReadToItsEnd) {
  const PictureParameterSets sets = Write(GetParam().sets);
  BitString bits = GetParam().bits;
  const std::string unit = kx_testing::Unit(0x61, bits.Append(kMarking));
  const SliceHeader header = ReadSliceHeader(
      {reinterpret_cast<const uint8_t*>(unit.data()) + 3, static_cast<uint32_t>(unit.size() - 3)},
      sets);
  EXPECT_TRUE(header.is_identified);
  EXPECT_EQ(header.frame_num, 9u);
  EXPECT_EQ(header.pic_order_cnt_lsb, 33u);
  EXPECT_TRUE(header.is_complete);
  EXPECT_TRUE(header.resets_order);
}

const Sets kPlain;
const Sets kWeighted = {false, false, true, 1};
const Sets kGrey = {false, true, true, 1};
const Sets kImplicit = {false, false, false, 2};
const Sets kPlanes = {true, false, true, 1};

const BitString kAsInSet = BitString("0");
const BitString kNoChange = BitString("0");
const BitString kChange = BitString("1").Ue(0).Ue(4).Ue(1).Ue(6).Ue(2).Ue(1).Ue(3);
const BitString kSpatial = BitString("1");
const BitString kScales = BitString().Ue(5).Ue(6);
const BitString kLumaScale = BitString().Ue(5);

INSTANTIATE_TEST_SUITE_P(
    Slices, SliceHeaderTest,
    testing::Values(
        HeaderCase{"P", kPlain, Join({Begin(0), kAsInSet, kNoChange})},
        HeaderCase{"POfAllSlices", kPlain, Join({Begin(5), kAsInSet, kNoChange})},
        HeaderCase{"B", kPlain, Join({Begin(1), kSpatial, kAsInSet, kNoChange, kNoChange})},
        HeaderCase{"I", kPlain, Begin(2)},
        HeaderCase{"Sp", kPlain, Join({Begin(3), kAsInSet, kNoChange})},
        HeaderCase{"Si", kPlain, Begin(4)}, HeaderCase{"SiOfAllSlices", kPlain, Begin(9)},
        HeaderCase{"PWithChangedList", kPlain, Join({Begin(0), kAsInSet, kChange})},
        HeaderCase{"BWithChangedLists", kPlain,
                   Join({Begin(1), kSpatial, kAsInSet, kChange, kChange})},
        HeaderCase{"WeightedP", kWeighted,
                   Join({Begin(0), kAsInSet, kNoChange, kScales, Weights(2, true)})},
        HeaderCase{"WeightedSp", kWeighted,
                   Join({Begin(3), kAsInSet, kNoChange, kScales, Weights(2, true)})},
        HeaderCase{"WeightedI", kWeighted, Begin(2)},
        HeaderCase{"WeightedPOfMoreReferences", kWeighted,
                   Join({Begin(0), BitString("1").Ue(3), kNoChange, kScales, Weights(4, true)})},
        HeaderCase{"WeightedPOfMostReferences", kWeighted,
                   Join({Begin(0), BitString("1").Ue(31), kNoChange, kScales, Weights(32, true)})},
        HeaderCase{"WeightedB", kWeighted,
                   Join({Begin(1), kSpatial, kAsInSet, kNoChange, kNoChange, kScales,
                         Weights(2, true), Weights(3, true)})},
        HeaderCase{"WeightedBOfOtherReferences", kWeighted,
                   Join({Begin(1), kSpatial, BitString("1").Ue(0).Ue(3), kNoChange, kNoChange,
                         kScales, Weights(1, true), Weights(4, true)})},
        HeaderCase{"ImplicitlyWeightedB", kImplicit,
                   Join({Begin(1), kSpatial, kAsInSet, kNoChange, kNoChange})},
        HeaderCase{"WeightedGreyP", kGrey,
                   Join({Begin(0), kAsInSet, kNoChange, kLumaScale, Weights(2, false)})},
        HeaderCase{"WeightedPOfAPlane", kPlanes,
                   Join({Begin(0, true), kAsInSet, kNoChange, kLumaScale, Weights(2, false)})}),
    [](const auto& test) { return test.param.name; });

struct RefusedCase {
  const char* name;
  BitString bits;
  bool is_identified;
};

TEST(RefusedSliceHeaderTest, AValueThatH264DoesNotHaveEndsTheHeader) {
  const PictureParameterSets sets = Write(kPlain);
  for (const RefusedCase& test :
       {RefusedCase{"slice type", Join({Begin(10), kMarking}), false},
        RefusedCase{"parameter set", BitString().Ue(0).Ue(2).Ue(1).U(4, 9).U(6, 33), false},
        RefusedCase{"references", Join({Begin(0), BitString("1").Ue(32), kNoChange, kMarking}),
                    true},
        RefusedCase{"list operation", Join({Begin(0), kAsInSet, BitString("1").Ue(4), kMarking}),
                    true},
        RefusedCase{"marking operation", Join({Begin(2), BitString("1").Ue(7).Ue(0)}), true},
        RefusedCase{"cut", Begin(0), true}}) {
    const std::string unit = kx_testing::Unit(0x61, test.bits);
    const SliceHeader header = ReadSliceHeader(
        {reinterpret_cast<const uint8_t*>(unit.data()) + 3, static_cast<uint32_t>(unit.size() - 3)},
        sets);
    EXPECT_EQ(header.is_identified, test.is_identified) << test.name;
    EXPECT_FALSE(header.is_complete) << test.name;
  }
}

}  // namespace
}  // namespace kxrtc_host
