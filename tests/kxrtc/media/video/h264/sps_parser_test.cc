#include "kxrtc/media/video/h264/sps_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/h264_builder.h"
#include "tests/testing/log_capture.h"

namespace kxrtc {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::SpsFields;
using ::kx_utility::BitBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;
using SpsState = SpsParser::SpsState;

constexpr uint32_t kUntouched = 0xAAAAAAAA;

SpsState UntouchedState() {
  SpsState state;
  state.width = state.height = state.delta_pic_order_always_zero_flag =
      state.separate_colour_plane_flag = state.frame_mbs_only_flag =
          state.log2_max_frame_num_minus4 = state.log2_max_pic_order_cnt_lsb_minus4 =
              state.pic_order_cnt_type = state.max_num_ref_frames = state.vui_params_present =
                  state.id = kUntouched;
  return state;
}

// In the order of the structure.
std::vector<uint32_t> Values(const SpsState& s) {
  return {s.width,
          s.height,
          s.delta_pic_order_always_zero_flag,
          s.separate_colour_plane_flag,
          s.frame_mbs_only_flag,
          s.log2_max_frame_num_minus4,
          s.log2_max_pic_order_cnt_lsb_minus4,
          s.pic_order_cnt_type,
          s.max_num_ref_frames,
          s.vui_params_present,
          s.id};
}

bool Parse(const Bytes& bytes, SpsState* state) {
  return SpsParser::ParseSps(bytes.data(), static_cast<uint32_t>(bytes.size()), *state);
}

SpsState Parsed(const SpsFields& fields) {
  SpsState state;
  EXPECT_TRUE(Parse(fields.Write().Trailing().Bytes(), &state));
  return state;
}

TEST(SpsParserTest, TheStateIsElevenUnsignedNumbersInOrder) {
  static_assert(sizeof(SpsState) == 11 * sizeof(uint32_t), "");
  EXPECT_EQ(offsetof(SpsState, width), 0u);
  EXPECT_EQ(offsetof(SpsState, height), 4u);
  EXPECT_EQ(offsetof(SpsState, delta_pic_order_always_zero_flag), 8u);
  EXPECT_EQ(offsetof(SpsState, separate_colour_plane_flag), 12u);
  EXPECT_EQ(offsetof(SpsState, frame_mbs_only_flag), 16u);
  EXPECT_EQ(offsetof(SpsState, log2_max_frame_num_minus4), 20u);
  EXPECT_EQ(offsetof(SpsState, log2_max_pic_order_cnt_lsb_minus4), 24u);
  EXPECT_EQ(offsetof(SpsState, pic_order_cnt_type), 28u);
  EXPECT_EQ(offsetof(SpsState, max_num_ref_frames), 32u);
  EXPECT_EQ(offsetof(SpsState, vui_params_present), 36u);
  EXPECT_EQ(offsetof(SpsState, id), 40u);
}

TEST(SpsParserTest, ParsesABaseline720pSps) {
  SpsFields fields;
  fields.id = 3;
  fields.log2_max_frame_num_minus4 = 5;
  fields.log2_max_pic_order_cnt_lsb_minus4 = 6;
  fields.max_num_ref_frames = 4;
  fields.vui_parameters_present_flag = 1;
  EXPECT_THAT(Values(Parsed(fields)), ElementsAre(1280, 720, 0, 0, 1, 5, 6, 0, 4, 1, 3));
}

TEST(SpsParserTest, ParsesBytesThatAnEncoderWrote) {
  // 640x360, High profile, 4 reference frames, with VUI; 00 00 03 escapes inside.
  const Bytes payload = {0x64, 0x00, 0x1E, 0xAC, 0xD9, 0x40, 0xA0, 0x2F, 0xF9, 0x70, 0x11, 0x00,
                         0x00, 0x03, 0x03, 0xE9, 0x00, 0x00, 0xEA, 0x60, 0x0F, 0x16, 0x2D, 0x96};
  SpsState state;
  ASSERT_TRUE(Parse(payload, &state));
  EXPECT_THAT(Values(state), ElementsAre(640, 360, 0, 0, 1, 0, 2, 0, 4, 1, 0));
}

TEST(SpsParserTest, StoresLog2ValuesAsCoded) {
  const SpsState state = Parsed(SpsFields());
  EXPECT_EQ(state.log2_max_frame_num_minus4, 0u);
  EXPECT_EQ(state.log2_max_pic_order_cnt_lsb_minus4, 2u);
}

struct SizeCase {
  std::string name;
  std::function<void(SpsFields*)> change;
  uint32_t width;
  uint32_t height;
};

std::function<void(SpsFields*)> Cropped(uint32_t chroma_format_idc, uint32_t separate_planes,
                                        uint32_t frame_mbs_only) {
  return [=](SpsFields* fields) {
    fields->profile_idc = 244;
    fields->chroma_fields = true;
    fields->chroma_format_idc = chroma_format_idc;
    fields->separate_colour_plane_flag = separate_planes;
    fields->frame_mbs_only_flag = frame_mbs_only;
    fields->pic_width_in_mbs_minus1 = 9;
    fields->pic_height_in_map_units_minus1 = 9;
    fields->crop = {1, 2, 3, 4};
  };
}

class SpsSizeTest : public ::testing::TestWithParam<SizeCase> {};
TEST_P(SpsSizeTest, FollowsFromTheFields) {
  SpsFields fields;
  GetParam().change(&fields);
  const SpsState state = Parsed(fields);
  EXPECT_EQ(state.width, GetParam().width);
  EXPECT_EQ(state.height, GetParam().height);
}
INSTANTIATE_TEST_SUITE_P(
    Sizes, SpsSizeTest,
    ::testing::Values(SizeCase{"Hd1080CroppedFrom1088",
                               [](SpsFields* f) {
                                 f->profile_idc = 100;
                                 f->chroma_fields = true;
                                 f->pic_width_in_mbs_minus1 = 119;
                                 f->pic_height_in_map_units_minus1 = 67;
                                 f->crop = {0, 0, 0, 4};
                               },
                               1920, 1080},
                      SizeCase{"FieldCodedDoublesTheHeight",
                               [](SpsFields* f) { f->frame_mbs_only_flag = 0; }, 1280, 1440},
                      SizeCase{"OneMacroblock",
                               [](SpsFields* f) {
                                 f->pic_width_in_mbs_minus1 = 0;
                                 f->pic_height_in_map_units_minus1 = 0;
                               },
                               16, 16},
                      SizeCase{"Monochrome", Cropped(0, 0, 1), 157, 153},
                      SizeCase{"MonochromeFieldsScaleTheCrop", Cropped(0, 0, 0), 157, 306},
                      SizeCase{"Chroma420", Cropped(1, 0, 1), 154, 146},
                      SizeCase{"Chroma420FieldsDoNotScaleTheCrop", Cropped(1, 0, 0), 154, 306},
                      SizeCase{"Chroma422", Cropped(2, 0, 1), 154, 153},
                      SizeCase{"Chroma422FieldsDoNotScaleTheCrop", Cropped(2, 0, 0), 154, 313},
                      SizeCase{"Chroma444", Cropped(3, 0, 1), 157, 153},
                      SizeCase{"Chroma444FieldsDoNotScaleTheCrop", Cropped(3, 0, 0), 157, 313},
                      SizeCase{"SeparatePlanes", Cropped(3, 1, 1), 157, 153},
                      SizeCase{"SeparatePlanesFieldsScaleTheCrop", Cropped(3, 1, 0), 157, 306},
                      SizeCase{"UnknownChromaFormatIsNotScaled", Cropped(9, 0, 1), 157, 153},
                      SizeCase{"CropBeyondThePictureWraps",
                               [](SpsFields* f) {
                                 f->pic_width_in_mbs_minus1 = 0;
                                 f->crop = {9, 0, 0, 0};
                               },
                               0xFFFFFFFE, 720},
                      SizeCase{"HugeSizesWrap",
                               [](SpsFields* f) {
                                 f->pic_width_in_mbs_minus1 = 0xFFFFFFFE;
                                 f->pic_height_in_map_units_minus1 = 0x10000000;
                               },
                               0xFFFFFFF0, 16}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(SpsParserTest, OnlyListedProfilesHaveChromaFields) {
  const std::vector<uint32_t> listed = {100, 110, 122, 244, 44, 83, 86, 118, 128, 134, 138, 139};
  for (uint32_t profile = 0; profile < 256; ++profile) {
    SpsFields fields;
    fields.profile_idc = profile;
    fields.chroma_fields = std::find(listed.begin(), listed.end(), profile) != listed.end();
    const SpsState state = Parsed(fields);
    EXPECT_EQ(state.width, 1280u) << profile;
    EXPECT_EQ(state.height, 720u) << profile;
    EXPECT_EQ(state.max_num_ref_frames, 1u) << profile;
  }
}

TEST(SpsParserTest, Profile135IsDeliberatelyParsedWithoutChromaFields) {
  SpsFields fields;
  fields.profile_idc = 135;
  EXPECT_EQ(Parsed(fields).width, 1280u);
}

TEST(SpsParserTest, PicOrderCntType1SkipsTheOffsets) {
  SpsFields fields;
  fields.pic_order_cnt_type = 1;
  fields.delta_pic_order_always_zero_flag = 1;
  fields.offsets_for_ref_frame = {0, -7, 8, INT32_MAX};
  EXPECT_THAT(Values(Parsed(fields)), ElementsAre(1280, 720, 1, 0, 1, 0, 0, 1, 1, 0, 0));
}

TEST(SpsParserTest, FurtherPicOrderCntTypesCarryNothing) {
  for (const uint32_t type : {2u, 3u, 77u}) {
    SpsFields fields;
    fields.pic_order_cnt_type = type;
    EXPECT_THAT(Values(Parsed(fields)), ElementsAre(1280, 720, 0, 0, 1, 0, 0, type, 1, 0, 0));
  }
}

TEST(SpsParserTest, KeepsElementsThatTheStreamDoesNotCarry) {
  SpsFields fields;
  fields.pic_order_cnt_type = 2;
  SpsState state = UntouchedState();
  ASSERT_TRUE(Parse(fields.Write().Trailing().Bytes(), &state));
  EXPECT_EQ(state.delta_pic_order_always_zero_flag, kUntouched);
  EXPECT_EQ(state.log2_max_pic_order_cnt_lsb_minus4, kUntouched);
  EXPECT_EQ(state.separate_colour_plane_flag, 0u);
}

TEST(SpsParserTest, AScalingMatrixWithoutListsParses) {
  SpsFields fields;
  fields.profile_idc = 100;
  fields.chroma_fields = true;
  fields.scaling_list_present_flags = "00000000";
  EXPECT_EQ(Parsed(fields).height, 720u);
  fields.chroma_format_idc = 3;
  fields.scaling_list_present_flags = "000000000000";
  EXPECT_EQ(Parsed(fields).height, 720u);
}

TEST(SpsParserTest, AnyScalingListFailsWithAWarning) {
  for (const uint32_t format : {1u, 3u}) {
    const std::string none(format == 3 ? 12 : 8, '0');
    for (size_t list = 0; list < none.size(); ++list) {
      SpsFields fields;
      fields.profile_idc = 100;
      fields.chroma_fields = true;
      fields.chroma_format_idc = format;
      fields.scaling_list_present_flags = none;
      fields.scaling_list_present_flags[list] = '1';
      fields.id = 5;
      ScopedLogCapture log;
      SpsState state = UntouchedState();
      EXPECT_FALSE(Parse(fields.Write().Trailing().Bytes(), &state));
      EXPECT_THAT(log.lines(),
                  ElementsAre("WARNING SPS contains scaling lists, which are unsupported."));
      EXPECT_NE(log.raw()[0].find("[ParseSpsUpToVui]"), std::string::npos);
      EXPECT_EQ(state.id, 5u);
      EXPECT_EQ(state.log2_max_frame_num_minus4, kUntouched);
    }
  }
}

TEST(SpsParserTest, StandsBehindTheVuiFlagOnSuccess) {
  const BitString bits = SpsFields().Write();
  const Bytes bytes = BitString(bits).U(20, 0xFFFFF).Bytes();
  BitBuffer buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
  SpsState state;
  ASSERT_TRUE(SpsParser::ParseSpsUpToVui(&buffer, state));
  EXPECT_EQ(buffer.RemainingBitCount(), bytes.size() * 8 - bits.size());
}

// Each field with the number of bits after which it is known.
TEST(SpsParserTest, EachTruncationKeepsTheFieldsBeforeIt) {
  SpsFields fields;
  fields.profile_idc = 244;
  fields.chroma_fields = true;
  fields.chroma_format_idc = 3;
  fields.separate_colour_plane_flag = 1;
  fields.id = 2;
  fields.log2_max_frame_num_minus4 = 1;
  fields.log2_max_pic_order_cnt_lsb_minus4 = 3;
  fields.max_num_ref_frames = 6;
  fields.crop = {1, 1, 1, 1};
  fields.vui_parameters_present_flag = 1;
  const std::string bits = fields.Write().bits();
  struct Known {
    size_t after;
    uint32_t SpsState::*field;
    uint32_t value;
  };
  const std::vector<Known> known = {
      {27, &SpsState::id, 2},
      {33, &SpsState::separate_colour_plane_flag, 1},
      {42, &SpsState::log2_max_frame_num_minus4, 1},
      {43, &SpsState::pic_order_cnt_type, 0},
      {48, &SpsState::log2_max_pic_order_cnt_lsb_minus4, 3},
      {53, &SpsState::max_num_ref_frames, 6},
      {79, &SpsState::frame_mbs_only_flag, 1},
      {bits.size(), &SpsState::vui_params_present, 1},
      {bits.size(), &SpsState::width, 1278},
      {bits.size(), &SpsState::height, 718},
  };
  for (size_t size = 0; size <= bits.size(); ++size) {
    // Bits in front put the end of the cut data on a byte boundary.
    const size_t front = (8 - size % 8) % 8;
    const Bytes bytes = BitString(std::string(front, '0') + bits.substr(0, size)).Bytes();
    BitBuffer buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
    ASSERT_TRUE(buffer.ConsumeBits(static_cast<uint32_t>(front)));
    SpsState state = UntouchedState();
    ScopedLogCapture log;
    ASSERT_EQ(SpsParser::ParseSpsUpToVui(&buffer, state), size == bits.size());
    if (size < bits.size()) {
      EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to parse SPS"));
      EXPECT_NE(log.raw()[0].find("[ParseSpsUpToVui]"), std::string::npos);
    } else {
      EXPECT_THAT(log.lines(), IsEmpty());
    }
    for (const Known& k : known) {
      const bool is_cleared = k.field == &SpsState::separate_colour_plane_flag && size >= 27;
      const uint32_t before = is_cleared ? 0 : kUntouched;
      EXPECT_EQ(state.*k.field, size >= k.after ? k.value : before) << size << " " << k.after;
    }
  }
}

TEST(SpsParserTest, ACycleCountNear2To32EndsWithTheData) {
  BitString bits;
  bits.U(24, 0x42C01F).Ue(0).Ue(0).Ue(1).U(1, 0).Ue(0).Ue(0).Ue(0xFFFFFFFE).U(8, 0xFF);
  SpsState state;
  EXPECT_FALSE(Parse(bits.Bytes(), &state));
  EXPECT_EQ(state.pic_order_cnt_type, 1u);
}

TEST(SpsParserTest, EmptyInputFails) {
  SpsState state = UntouchedState();
  ScopedLogCapture log;
  EXPECT_FALSE(SpsParser::ParseSps(nullptr, 0, state));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to parse SPS"));
  EXPECT_EQ(Values(state), Values(UntouchedState()));
}

}  // namespace
}  // namespace kxrtc
