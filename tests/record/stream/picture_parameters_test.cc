#include "record/stream/picture_parameters.h"

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/testing/h264_builder.h"

namespace kxrtc_host {
namespace {

using kx_testing::BitString;
using kx_testing::SpsFields;

// The NAL unit with this header byte, from bits without trailing ones. No escapes are needed where
// no two bytes are 0.
std::vector<uint8_t> UnitOf(uint8_t header, BitString bits) {
  const std::vector<uint8_t> rbsp = bits.Trailing().Bytes();
  std::vector<uint8_t> unit = {header};
  for (const uint8_t byte : rbsp) {
    const size_t size = unit.size();
    if (byte <= 3 && size >= 3 && unit[size - 1] == 0 && unit[size - 2] == 0) unit.push_back(3);
    unit.push_back(byte);
  }
  return unit;
}

NalUnit View(const std::vector<uint8_t>& unit) {
  return {unit.data(), static_cast<uint32_t>(unit.size())};
}

std::string Text(const std::optional<SequenceParameters>& sps) {
  if (!sps) return "refused";
  std::string text = std::to_string(sps->id) + ": " + std::to_string(sps->size.width) + "x" +
                     std::to_string(sps->size.height);
  if (sps->separate_colour_plane) text += " planes";
  if (!sps->has_chroma) text += " grey";
  text += " num" + std::to_string(sps->frame_num_bits) + " type" +
          std::to_string(sps->pic_order_cnt_type);
  if (sps->pic_order_cnt_type == 0) text += " lsb" + std::to_string(sps->pic_order_cnt_lsb_bits);
  if (sps->pic_order_cnt_type == 1) {
    if (sps->delta_pic_order_always_zero) text += " zero";
    text += " " + std::to_string(sps->offset_for_non_ref_pic) + " " +
            std::to_string(sps->offset_for_top_to_bottom_field) + " (";
    for (const int32_t offset : sps->offsets_for_ref_frame) text += std::to_string(offset) + " ";
    text += ")";
  }
  if (!sps->frame_mbs_only) text += " fields";
  return text + " reorders" + std::to_string(sps->max_num_reorder_frames);
}

struct SequenceCase {
  const char* name;
  void (*change)(SpsFields*);
  const char* text;
};

void PrintTo(const SequenceCase& test, std::ostream* out) { *out << test.name; }

class SequenceParametersTest : public testing::TestWithParam<SequenceCase> {};

TEST_P(SequenceParametersTest, AreRead) {
  SpsFields fields;
  GetParam().change(&fields);
  EXPECT_EQ(Text(ReadSequenceParameters(View(UnitOf(0x67, fields.Write())))), GetParam().text);
}

// In units of the chroma format.
void Crop(SpsFields* sps, uint32_t chroma_format) {
  sps->profile_idc = 244;
  sps->chroma_fields = true;
  sps->chroma_format_idc = chroma_format;
  sps->crop = {1, 2, 3, 4};
}

std::string Zeros(int count) { return std::string(static_cast<size_t>(count), '0'); }
// The elements of a scaling list: `count` differences of 0.
std::string List(int count) { return "1" + std::string(static_cast<size_t>(count), '1'); }

void Scale(SpsFields* sps, uint32_t chroma_format, const std::string& lists) {
  sps->profile_idc = 100;
  sps->chroma_fields = true;
  sps->chroma_format_idc = chroma_format;
  sps->scaling_list_present_flags = lists;
}

const SequenceCase kSequences[] = {
    {"AsItStands", [](SpsFields*) {}, "0: 1280x720 num4 type0 lsb6 reorders16"},
    {"LastId", [](SpsFields* sps) { sps->id = 31; }, "31: 1280x720 num4 type0 lsb6 reorders16"},
    {"IdTooLarge", [](SpsFields* sps) { sps->id = 32; }, "refused"},
    {"Crop420", [](SpsFields* sps) { Crop(sps, 1); }, "0: 1274x706 num4 type0 lsb6 reorders16"},
    {"Crop422", [](SpsFields* sps) { Crop(sps, 2); }, "0: 1274x713 num4 type0 lsb6 reorders16"},
    {"Crop444", [](SpsFields* sps) { Crop(sps, 3); }, "0: 1277x713 num4 type0 lsb6 reorders16"},
    {"CropGrey", [](SpsFields* sps) { Crop(sps, 0); },
     "0: 1277x713 grey num4 type0 lsb6 reorders16"},
    {"CropPlanes",
     [](SpsFields* sps) {
       Crop(sps, 3);
       sps->separate_colour_plane_flag = 1;
     },
     "0: 1277x713 planes grey num4 type0 lsb6 reorders16"},
    {"CropFields",
     [](SpsFields* sps) {
       Crop(sps, 1);
       sps->frame_mbs_only_flag = 0;
     },
     "0: 1274x1412 num4 type0 lsb6 fields reorders16"},
    {"CropAll",
     [](SpsFields* sps) {
       sps->crop = {639, 1, 400, 0};
     },
     "0: 1x1 num4 type0 lsb6 reorders16"},
    {"CropToTheLast",
     [](SpsFields* sps) {
       sps->crop = {639, 0, 0, 359};
     },
     "0: 2x2 num4 type0 lsb6 reorders16"},
    {"ChromaFormatTooLarge", [](SpsFields* sps) { Crop(sps, 4); }, "refused"},
    {"Widest", [](SpsFields* sps) { sps->pic_width_in_mbs_minus1 = 1023; },
     "0: 16384x720 num4 type0 lsb6 reorders16"},
    {"TooWide", [](SpsFields* sps) { sps->pic_width_in_mbs_minus1 = 1024; }, "refused"},
    {"TooHigh", [](SpsFields* sps) { sps->pic_height_in_map_units_minus1 = 1024; }, "refused"},
    {"MostBits",
     [](SpsFields* sps) {
       sps->log2_max_frame_num_minus4 = 12;
       sps->log2_max_pic_order_cnt_lsb_minus4 = 12;
     },
     "0: 1280x720 num16 type0 lsb16 reorders16"},
    {"TooManyNumberBits", [](SpsFields* sps) { sps->log2_max_frame_num_minus4 = 13; }, "refused"},
    {"TooManyOrderBits", [](SpsFields* sps) { sps->log2_max_pic_order_cnt_lsb_minus4 = 13; },
     "refused"},
    {"TypeOne",
     [](SpsFields* sps) {
       sps->pic_order_cnt_type = 1;
       sps->delta_pic_order_always_zero_flag = 1;
       sps->offsets_for_ref_frame = {4, -2};
     },
     "0: 1280x720 num4 type1 zero -3 5 (4 -2 ) reorders16"},
    {"TypeOneWithTooManyOffsets",
     [](SpsFields* sps) {
       sps->pic_order_cnt_type = 1;
       sps->offsets_for_ref_frame.resize(256);
     },
     "refused"},
    {"TypeTwoReordersNothing", [](SpsFields* sps) { sps->pic_order_cnt_type = 2; },
     "0: 1280x720 num4 type2 reorders0"},
    {"NoSuchType", [](SpsFields* sps) { sps->pic_order_cnt_type = 3; }, "refused"},
    {"NoScalingLists", [](SpsFields* sps) { Scale(sps, 1, Zeros(8)); },
     "0: 1280x720 num4 type0 lsb6 reorders16"},
    {"NoScalingListsOf444", [](SpsFields* sps) { Scale(sps, 3, Zeros(12)); },
     "0: 1280x720 num4 type0 lsb6 reorders16"},
    {"LastSmallAndFirstLargeScalingList",
     [](SpsFields* sps) { Scale(sps, 1, Zeros(5) + List(16) + List(64) + "0"); },
     "0: 1280x720 num4 type0 lsb6 reorders16"},
    {"ScalingListThatEndsEarly",
     [](SpsFields* sps) { Scale(sps, 1, "1" + BitString().Se(-8).bits() + Zeros(7)); },
     "0: 1280x720 num4 type0 lsb6 reorders16"},
    {"ScalingListWhoseSumWraps",
     [](SpsFields* sps) { Scale(sps, 1, "1" + BitString().Se(124).Se(124).bits() + Zeros(7)); },
     "0: 1280x720 num4 type0 lsb6 reorders16"}};

INSTANTIATE_TEST_SUITE_P(Sets, SequenceParametersTest, testing::ValuesIn(kSequences),
                         [](const auto& test) { return test.param.name; });

// E.2.1: what the stream leaves open about reordering.
TEST(SequenceReorderTest, OnlyIntraProfilesWithTheirConstraintReorderNothing) {
  for (const uint32_t profile : {44, 66, 77, 86, 88, 100, 110, 122, 244}) {
    for (const uint32_t constraints : {0x00, 0x10, 0xEF}) {
      SCOPED_TRACE(profile);
      SpsFields fields;
      fields.profile_idc = profile;
      fields.chroma_fields = TellsChromaFormat(static_cast<uint8_t>(profile));
      std::vector<uint8_t> unit = UnitOf(0x67, fields.Write());
      unit[2] = static_cast<uint8_t>(constraints);
      const bool is_intra = constraints == 0x10 && profile != 66 && profile != 77 && profile != 88;
      EXPECT_EQ(ReadSequenceParameters(View(unit))->max_num_reorder_frames, is_intra ? 0u : 16u);
    }
  }
}

BitString Hrd(uint32_t count) {
  BitString bits;
  bits.Ue(count - 1).U(8, 0x11);
  for (uint32_t i = 0; i < count; ++i) bits.Ue(700).Ue(900).U(1, 1);
  return bits.U(20, 0xABCDE);
}

// All combinations of what may stand in front of the bitstream restriction (E.1.1).
TEST(SequenceReorderTest, TheRestrictionIsFoundBehindAnyOtherFields) {
  for (uint32_t fields = 0; fields < 128; ++fields) {
    SCOPED_TRACE(fields);
    const auto has = [fields](int bit) { return fields >> bit & 1; };
    BitString vui;
    vui.U(1, has(0));
    if (has(0)) vui.U(8, has(1) ? 255 : 13);
    if (has(0) && has(1)) vui.U(32, 0x7F7F7F7F);
    vui.U(1, has(2));
    if (has(2)) vui.U(1, 1).U(1, 1).U(4, 9).U(1, has(3));
    if (has(2) && has(3)) vui.U(24, 0x515151);
    if (!has(2)) vui.U(1, 0);
    vui.U(1, has(4));
    if (has(4)) vui.Ue(4).Ue(2);
    vui.U(1, has(1));
    if (has(1)) vui.U(32, 0x01010101).U(32, 0x32323232).U(1, 1);
    vui.U(1, has(5));
    if (has(5)) vui.Append(Hrd(2));
    vui.U(1, has(6));
    if (has(6)) vui.Append(Hrd(32));
    if (has(5) || has(6)) vui.U(1, 1);
    vui.U(1, has(3)).U(1, 1).U(1, 1).Ue(2).Ue(1).Ue(12).Ue(11).Ue(5).Ue(16);
    SpsFields sps;
    sps.vui_parameters_present_flag = 1;
    EXPECT_EQ(
        ReadSequenceParameters(View(UnitOf(0x67, sps.Write().Append(vui))))->max_num_reorder_frames,
        5u);
  }
}

struct RestrictionCase {
  const char* name;
  BitString vui;
  uint32_t frames;
};

TEST(SequenceReorderTest, WithoutAValidRestrictionTheStreamMayReorderAll) {
  const std::string none = Zeros(8);  // Nothing up to pic_struct_present_flag.
  const BitString counts = BitString(none + "11").Ue(0).Ue(0).Ue(0).Ue(0);
  for (const RestrictionCase& test :
       {RestrictionCase{"absent", BitString(none + "0"), 16},
        RestrictionCase{"none", BitString(counts).Ue(0).Ue(0), 0},
        RestrictionCase{"most", BitString(counts).Ue(16).Ue(16), 16},
        RestrictionCase{"too many", BitString(counts).Ue(17).Ue(17), 16},
        RestrictionCase{"cut", BitString(none + "11").Ue(0), 16},
        RestrictionCase{"too many buffers", BitString(Zeros(5) + "1").Ue(32).Ue(0), 16}}) {
    SpsFields sps;
    sps.vui_parameters_present_flag = 1;
    const auto read = ReadSequenceParameters(View(UnitOf(0x67, sps.Write().Append(test.vui))));
    ASSERT_TRUE(read) << test.name;
    EXPECT_EQ(read->max_num_reorder_frames, test.frames) << test.name;
  }
}

TEST(SequenceCutTest, ASetThatIsCutIsNone) {
  SpsFields fields;
  fields.crop = {1, 0, 0, 0};
  const std::vector<uint8_t> unit = UnitOf(0x67, fields.Write());
  ASSERT_TRUE(ReadSequenceParameters(View(unit)));
  for (uint32_t size = 1; size < unit.size() - 1; ++size) {
    EXPECT_FALSE(ReadSequenceParameters({unit.data(), size})) << size;
  }
}

std::string Text(const std::optional<PictureParameters>& pps) {
  if (!pps) return "refused";
  std::string text = std::to_string(pps->id) + " of " + std::to_string(pps->sequence_id);
  if (pps->bottom_field_pic_order_in_frame_present) text += " bottom";
  text += " refs" + std::to_string(pps->num_ref_idx_active[0]) + "," +
          std::to_string(pps->num_ref_idx_active[1]);
  if (pps->weighted_pred) text += " weighted";
  text += " bipred" + std::to_string(pps->weighted_bipred_idc);
  return text + (pps->redundant_pic_cnt_present ? " redundant" : "");
}

// The elements around the slice groups.
BitString Picture(uint64_t id, uint64_t sequence_id, uint32_t bottom, const BitString& groups,
                  uint64_t refs_minus1 = 2, uint32_t redundant = 1) {
  BitString bits;
  bits.Ue(id).Ue(sequence_id).U(1, 0).U(1, bottom).Append(groups);
  bits.Ue(refs_minus1).Ue(4).U(1, 1).U(2, 2).Se(-3).Se(2).Se(5).U(2, 1);
  return bits.U(1, redundant);
}

BitString Groups(uint64_t count, uint64_t type) { return BitString().Ue(count - 1).Ue(type); }

BitString ExplicitMap(uint64_t groups, int bits) {
  BitString map = Groups(groups, 6).Ue(4);
  for (int i = 0; i < 5; ++i) map.U(bits, 1);
  return map;
}

struct PictureCase {
  const char* name;
  BitString bits;
  const char* text;
};

void PrintTo(const PictureCase& test, std::ostream* out) { *out << test.name; }

class PictureParametersTest : public testing::TestWithParam<PictureCase> {};

TEST_P(PictureParametersTest, AreRead) {
  EXPECT_EQ(Text(ReadPictureParameters(View(UnitOf(0x68, GetParam().bits)))), GetParam().text);
}

constexpr char kRead[] = "0 of 0 refs3,5 weighted bipred2 redundant";

INSTANTIATE_TEST_SUITE_P(
    Sets, PictureParametersTest,
    testing::Values(
        PictureCase{"OneGroup", Picture(0, 0, 0, BitString().Ue(0)), kRead},
        PictureCase{"LastIds", Picture(255, 31, 1, BitString().Ue(0), 31, 0),
                    "255 of 31 bottom refs32,5 weighted bipred2"},
        PictureCase{"IdTooLarge", Picture(256, 0, 0, BitString().Ue(0)), "refused"},
        PictureCase{"SequenceIdTooLarge", Picture(0, 32, 0, BitString().Ue(0)), "refused"},
        PictureCase{"TooManyReferences", Picture(0, 0, 0, BitString().Ue(0), 32), "refused"},
        PictureCase{"Interleaved", Picture(0, 0, 0, Groups(3, 0).Ue(9).Ue(8).Ue(7)), kRead},
        PictureCase{"InterleavedMost",
                    Picture(0, 0, 0, Groups(8, 0).Ue(1).Ue(2).Ue(3).Ue(4).Ue(5).Ue(6).Ue(7).Ue(8)),
                    kRead},
        PictureCase{"Dispersed", Picture(0, 0, 0, Groups(4, 1)), kRead},
        PictureCase{"Foreground", Picture(0, 0, 0, Groups(3, 2).Ue(1).Ue(9).Ue(3).Ue(7)), kRead},
        PictureCase{"BoxOut", Picture(0, 0, 0, Groups(2, 3).U(1, 1).Ue(6)), kRead},
        PictureCase{"RasterScan", Picture(0, 0, 0, Groups(2, 4).U(1, 0).Ue(6)), kRead},
        PictureCase{"Wipe", Picture(0, 0, 0, Groups(2, 5).U(1, 1).Ue(6)), kRead},
        PictureCase{"MapOfTwo", Picture(0, 0, 0, ExplicitMap(2, 1)), kRead},
        PictureCase{"MapOfThree", Picture(0, 0, 0, ExplicitMap(3, 2)), kRead},
        PictureCase{"MapOfFour", Picture(0, 0, 0, ExplicitMap(4, 2)), kRead},
        PictureCase{"MapOfFive", Picture(0, 0, 0, ExplicitMap(5, 3)), kRead},
        PictureCase{"NoSuchType", Picture(0, 0, 0, Groups(2, 7)), "refused"},
        PictureCase{"TooManyGroups", Picture(0, 0, 0, Groups(9, 1)), "refused"}),
    [](const auto& test) { return test.param.name; });

TEST(PictureParameterSetsTest, KeepsTheLatestThatCanBeReadOfEachId) {
  PictureParameterSets sets;
  SpsFields sps;
  sps.id = 31;
  const auto add = [&sets](uint8_t header, const BitString& bits) {
    const std::vector<uint8_t> unit = UnitOf(header, bits);
    sets.Add(View(unit));
  };
  add(0x67, sps.Write());
  EXPECT_EQ(sets.Picture(255), nullptr);
  add(0x68, Picture(255, 31, 0, BitString().Ue(0)));
  add(0x68, Picture(0, 30, 0, BitString().Ue(0)));
  ASSERT_NE(sets.Picture(255), nullptr);
  EXPECT_EQ(sets.Picture(256), nullptr);
  ASSERT_NE(sets.Sequence(*sets.Picture(255)), nullptr);
  EXPECT_EQ(sets.Sequence(*sets.Picture(0)), nullptr);
  add(0x68, Picture(255, 31, 1, BitString().Ue(0)));
  add(0x68, Picture(255, 31, 0, Groups(9, 1)));  // Cannot be read.
  add(0x65, Picture(255, 31, 0, BitString().Ue(0)));
  EXPECT_TRUE(sets.Picture(255)->bottom_field_pic_order_in_frame_present);
}

}  // namespace
}  // namespace kxrtc_host
