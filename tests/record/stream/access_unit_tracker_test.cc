#include "record/stream/access_unit_tracker.h"

#include <gmock/gmock.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "record/stream/annex_b.h"
#include "tests/testing/slice_builder.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::Field;
using ::kx_testing::Frame;
using ::kx_testing::Idr;
using ::kx_testing::Slice;
using ::kx_testing::Stream;
using ::kx_testing::Write;
using ::testing::ElementsAre;

std::vector<NalUnit> UnitsOf(const std::string& bytes) {
  std::vector<NalUnit> units;
  SplitAccessUnit(reinterpret_cast<const uint8_t*>(bytes.data()),
                  static_cast<uint32_t>(bytes.size()), &units);
  return units;
}

// How many NAL units each access unit of the stream has.
std::vector<int> Group(const std::string& bytes) {
  AccessUnitTracker tracker;
  std::vector<int> sizes;
  for (const NalUnit& unit : UnitsOf(bytes)) {
    if (tracker.BeginsAccessUnit(unit.data, unit.size)) sizes.push_back(0);
    ++sizes.back();
  }
  return sizes;
}

std::string Other(uint8_t header) {
  return std::string("\0\0\1", 3) + static_cast<char>(header) + '\x80';
}

Stream WithFields() {
  Stream stream;
  stream.sps.frame_mbs_only_flag = 0;
  stream.sps.pic_order_cnt_type = 0;
  return stream;
}

Slice Continued(Slice slice) {
  slice.first_mb = 5;
  return slice;
}

TEST(AccessUnitTrackerTest, SlicesOfOnePictureStayTogether) {
  const Stream stream;
  EXPECT_THAT(Group(stream.Sets() + Write(stream, Idr()) + Write(stream, Continued(Idr())) +
                    Write(stream, Frame(1, 2)) + Write(stream, Continued(Frame(1, 2)))),
              ElementsAre(4, 2));
}

TEST(AccessUnitTrackerTest, SlicesMayComeInAnyOrderOfTheirMacroblocks) {
  const Stream stream;
  EXPECT_THAT(Group(stream.Sets() + Write(stream, Continued(Idr())) + Write(stream, Idr()) +
                    Write(stream, Continued(Frame(1, 2))) + Write(stream, Frame(1, 2))),
              ElementsAre(4, 2));
}

// Each element of clause 7.4.1.2.4 parts two pictures on its own, whatever first_mb_in_slice says.
struct PartingCase {
  const char* name;
  Slice first;
  Slice second;
  bool parts;
};

class PartingTest : public ::testing::TestWithParam<PartingCase> {};

TEST_P(PartingTest, DecidesWhetherAPictureBegins) {
  Stream stream = WithFields();
  stream.pic_order_present = true;
  EXPECT_EQ(Group(stream.Sets() + Write(stream, GetParam().first) +
                  Write(stream, Continued(GetParam().second))),
            GetParam().parts ? std::vector<int>({3, 1}) : std::vector<int>({4}));
}

template <typename Change>
Slice Changed(Slice slice, Change change) {
  change(&slice);
  return slice;
}

INSTANTIATE_TEST_SUITE_P(
    Elements, PartingTest,
    ::testing::Values(
        PartingCase{"Nothing", Frame(1, 2), Frame(1, 2), false},
        PartingCase{"FrameNumber", Frame(1, 2), Frame(2, 2), true},
        PartingCase{"PictureOrder", Frame(1, 2), Frame(1, 4), true},
        PartingCase{"OrderOfTheBottom", Frame(1, 2),
                    Changed(Frame(1, 2), [](Slice* slice) { slice->delta[0] = 1; }), true},
        PartingCase{"Reference", Frame(1, 2), Frame(1, 2, false), true},
        PartingCase{"ImportanceOfAReference", Frame(1, 2),
                    Changed(Frame(1, 2), [](Slice* slice) { slice->ref_idc = 1; }), false},
        PartingCase{"FieldAfterFrame", Frame(1, 2), Field(1, 2, false), true},
        PartingCase{"SecondField", Field(1, 2, false), Field(1, 2, true), true},
        PartingCase{"SameField", Field(1, 2, true), Field(1, 2, true), false},
        PartingCase{"IdrAfterFrame", Frame(0, 0), Idr(), true},
        PartingCase{"FrameAfterIdr", Idr(), Frame(0, 0), true},
        PartingCase{"SameIdr", Idr(), Idr(), false},
        PartingCase{"NumberOfIdr", Idr(),
                    Changed(Idr(), [](Slice* slice) { slice->idr_pic_id = 1; }), true}),
    [](const auto& test) { return test.param.name; });

TEST(AccessUnitTrackerTest, EachFieldIsAnAccessUnit) {
  const Stream stream = WithFields();
  const std::string top = Write(stream, Field(1, 2, false));
  const std::string bottom = Write(stream, Field(1, 3, true));
  const std::string more = Write(stream, Continued(Field(1, 3, true)));
  EXPECT_THAT(Group(stream.Sets() + Write(stream, Idr()) + top + bottom + more +
                    Write(stream, Field(2, 4, false))),
              ElementsAre(3, 1, 2, 1));
}

TEST(AccessUnitTrackerTest, RedundantSlicesBelongToTheirPicture) {
  Stream stream;
  stream.redundant_pic_cnt_present = true;
  Slice redundant = Frame(1, 60);
  redundant.redundant_pic_cnt = 1;
  // What follows is compared with the primary slice, not with the redundant one.
  EXPECT_THAT(Group(stream.Sets() + Write(stream, Idr()) + Write(stream, Frame(1, 10)) +
                    Write(stream, redundant) + Write(stream, Continued(Frame(1, 10))) +
                    Write(stream, Frame(2, 60))),
              ElementsAre(3, 3, 1));
}

TEST(AccessUnitTrackerTest, WhatPrecedesAPictureBeginsItsAccessUnit) {
  const Stream stream;
  const std::string picture = Write(stream, Frame(1, 2));
  for (const uint8_t type : {6, 7, 8, 9, 14, 15, 16, 17, 18}) {
    // Once only: all that stands before the picture belongs to it.
    EXPECT_THAT(Group(stream.Sets() + Write(stream, Idr()) + Other(type) + Other(6) + picture),
                ElementsAre(3, 3))
        << int{type};
  }
  for (const uint8_t type : {3, 4, 10, 11, 12, 13, 19, 20, 21, 31}) {
    EXPECT_THAT(Group(stream.Sets() + Write(stream, Idr()) + Other(type) + picture),
                ElementsAre(4, 1))
        << int{type};
  }
}

TEST(AccessUnitTrackerTest, TheFirstNalUnitBeginsAnAccessUnitWhateverItIs) {
  const Stream stream;
  EXPECT_THAT(Group(Other(12) + Other(9) + stream.Sets() + Write(stream, Idr())), ElementsAre(5));
}

TEST(AccessUnitTrackerTest, WithoutParameterSetsTheFirstMacroblockDecides) {
  const Stream stream;
  EXPECT_THAT(Group(Write(stream, Frame(1, 2)) + Write(stream, Continued(Frame(2, 4))) +
                    Write(stream, Frame(2, 4))),
              ElementsAre(2, 1));
}

TEST(AccessUnitTrackerTest, ZerosBeforeAStartCodeChangeNothing) {
  const Stream stream;
  const std::string zeros(32, '\0');
  EXPECT_THAT(Group(zeros + stream.Sets() + zeros + Write(stream, Idr()) + zeros +
                    Write(stream, Continued(Idr())) + zeros + Write(stream, Frame(1, 2))),
              ElementsAre(4, 1));
}

// Where the access units begin for the parser of FFmpeg, which nobody here wrote.
std::vector<size_t> FFmpegStarts(std::string bytes) {
  const std::unique_ptr<AVCodecParserContext, void (*)(AVCodecParserContext*)> parser(
      av_parser_init(AV_CODEC_ID_H264), av_parser_close);
  AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264));
  const auto size = static_cast<int>(bytes.size());
  bytes.resize(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  std::vector<size_t> starts;
  size_t begin = 0;
  for (int at = 0; at <= size;) {
    uint8_t* unit = nullptr;
    int unit_size = 0;
    const int left = size - at;  // 0: the parser gives what it still has.
    at += av_parser_parse2(parser.get(), context, &unit, &unit_size,
                           reinterpret_cast<uint8_t*>(bytes.data()) + at, left, AV_NOPTS_VALUE,
                           AV_NOPTS_VALUE, 0);
    if (unit_size > 0) starts.push_back(begin);
    begin += static_cast<size_t>(unit_size);
    if (left == 0) break;
  }
  avcodec_free_context(&context);
  return starts;
}

std::vector<size_t> OwnStarts(const std::string& bytes) {
  AccessUnitTracker tracker;
  std::vector<size_t> starts;
  for (const NalUnit& unit : UnitsOf(bytes)) {
    const auto header =
        static_cast<size_t>(unit.data - reinterpret_cast<const uint8_t*>(bytes.data()));
    if (tracker.BeginsAccessUnit(unit.data, unit.size)) starts.push_back(header - 3);
  }
  return starts;
}

TEST(AccessUnitTrackerTest, AgreesWithFFmpegOnRandomStreams) {
  for (uint32_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&random](uint32_t limit) {
      return static_cast<uint32_t>(random() % limit);
    };
    const Stream stream = below(2) != 0 ? WithFields() : Stream();
    std::string bytes = stream.Sets();
    uint32_t frame_num = 0;
    for (int picture = 0; picture < 20; ++picture) {
      Slice slice = picture == 0 ? Idr() : Frame(frame_num % 16, frame_num * 2 % 64);
      if (picture > 0 && stream.sps.frame_mbs_only_flag == 0 && below(2) != 0) {
        slice.field = true;
        slice.bottom = below(2) != 0;
        slice.lsb += slice.bottom ? 1 : 0;
      }
      if (below(3) == 0) bytes += Other(9);
      if (below(3) == 0) bytes += Other(6);
      for (uint32_t slices = 1 + below(4); slices > 0; --slices) {
        bytes += Write(stream, slice);
        slice.first_mb += 1 + below(20);
      }
      ++frame_num;
    }
    ASSERT_EQ(OwnStarts(bytes), FFmpegStarts(bytes));
  }
}

}  // namespace
}  // namespace kxrtc_host
