#include "record/stream/picture_order.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>
#include <optional>
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
using ::kx_testing::Resetting;
using ::kx_testing::Slice;
using ::kx_testing::Stream;
using ::kx_testing::Write;

std::optional<PictureOrder> Read(PictureOrderReader* reader, const std::string& bytes) {
  std::vector<NalUnit> units;
  SplitAccessUnit(reinterpret_cast<const uint8_t*>(bytes.data()),
                  static_cast<uint32_t>(bytes.size()), &units);
  return reader->Read(units);
}

// Counts of pictures, one access unit each; "new" marks the start of a sequence, "-" no order.
std::string Orders(const Stream& stream, const std::vector<Slice>& slices) {
  PictureOrderReader reader;
  std::string text = Read(&reader, stream.Sets()) ? "sets " : "";
  for (const Slice& slice : slices) {
    const auto order = Read(&reader, Write(stream, slice));
    text +=
        !order ? "- " : (order->begins_sequence ? "new" : "") + std::to_string(order->count) + " ";
  }
  return text;
}

TEST(PictureOrderTest, LeastSignificantBitsWrapInBothDirections) {
  const Stream stream;  // Six bits.
  EXPECT_EQ(Orders(stream, {Idr(), Frame(1, 8), Frame(2, 4, false), Frame(2, 40), Frame(3, 60),
                            Frame(4, 2), Frame(5, 62, false), Frame(5, 6)}),
            "new0 8 4 40 60 66 62 70 ");
}

TEST(PictureOrderTest, TypeTwoIsTheCodedOrder) {
  Stream stream;
  stream.sps.pic_order_cnt_type = 2;
  EXPECT_EQ(Orders(stream, {Idr(), Frame(1, 0), Frame(2, 0, false), Frame(15, 0), Frame(1, 0)}),
            "new0 2 3 30 34 ");
  PictureOrderReader reader;
  EXPECT_EQ(Read(&reader, stream.Sets() + Write(stream, Idr()))->max_waiting, 0u);
}

TEST(PictureOrderTest, TypeOneAddsTheOffsetsOfItsCycle) {
  Stream stream;
  stream.sps.pic_order_cnt_type = 1;  // Offset of other pictures -3, of the bottom field 5.
  stream.sps.offsets_for_ref_frame = {2, 6};
  Slice moved = Frame(3, 0);
  moved.delta[0] = -7;
  EXPECT_EQ(Orders(stream, {Idr(), Frame(1, 0), Frame(2, 0), moved, Frame(4, 0, false)}),
            "new0 2 8 3 7 ");
}

TEST(PictureOrderTest, AnOperationFiveBeginsASequence) {
  const Stream stream;
  EXPECT_EQ(
      Orders(stream, {Idr(), Frame(1, 20), Resetting(Frame(2, 30)), Frame(1, 2), Frame(2, 4)}),
      "new0 20 new0 2 4 ");
  Stream by_number;
  by_number.sps.pic_order_cnt_type = 2;
  EXPECT_EQ(Orders(by_number, {Idr(), Frame(9, 0), Resetting(Frame(10, 0)), Frame(1, 0)}),
            "new0 18 new0 2 ");
}

TEST(PictureOrderTest, FieldsMayComeAloneOrTogether) {
  Stream stream;
  stream.sps.frame_mbs_only_flag = 0;
  PictureOrderReader reader;
  Slice idr = Idr();
  idr.field = true;
  const auto pair =
      Read(&reader, stream.Sets() + Write(stream, idr) + Write(stream, Field(0, 1, true)));
  EXPECT_TRUE(pair && pair->begins_sequence && pair->count == 0 && pair->max_waiting == 16);
  const auto top = Read(&reader, Write(stream, Field(1, 9, false)));
  EXPECT_TRUE(top && top->count == 9 && top->max_waiting == 33);
  const auto bottom_first =
      Read(&reader, Write(stream, Field(2, 13, true)) + Write(stream, Field(2, 12, false)));
  EXPECT_TRUE(bottom_first && bottom_first->count == 12 && bottom_first->max_waiting == 16);
}

TEST(PictureOrderTest, RedundantAndFurtherSlicesAreNotPictures) {
  Stream stream;
  stream.redundant_pic_cnt_present = true;
  Slice redundant = Frame(1, 2);
  redundant.redundant_pic_cnt = 1;
  redundant.lsb = 60;
  Slice second = Frame(1, 10);
  second.first_mb = 5;
  PictureOrderReader reader;
  const auto order = Read(&reader, stream.Sets() + Write(stream, Idr()));
  EXPECT_EQ(order->count, 0);
  EXPECT_EQ(Read(&reader, std::string("\0\0\1\x09\x10", 5) + Write(stream, Frame(1, 10)) +
                              Write(stream, second) + Write(stream, redundant))
                ->count,
            10);
}

TEST(PictureOrderTest, WithoutParameterSetsOrAWholeHeaderThereIsNoOrder) {
  const Stream stream;
  PictureOrderReader reader;
  EXPECT_FALSE(Read(&reader, Write(stream, Idr())));
  EXPECT_FALSE(Read(&reader, stream.Sets()));
  const std::string slice = Write(stream, Idr());
  EXPECT_TRUE(Read(&reader, slice));
  for (size_t size = 0; size < 6; ++size) {
    EXPECT_FALSE(Read(&reader, slice.substr(0, size))) << size;
  }
}

// The parser of FFmpeg, which nobody here wrote, reads the same headers.
struct ParserCloser {
  void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
};

class FFmpegParser {
 public:
  // The picture order count of one access unit.
  int64_t Read(const std::string& bytes) {
    std::string padded = bytes + std::string(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    uint8_t* out = nullptr;
    int out_size = 0;
    parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    av_parser_parse2(parser_.get(), context_, &out, &out_size,
                     reinterpret_cast<uint8_t*>(padded.data()), static_cast<int>(bytes.size()),
                     AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    return parser_->output_picture_number;
  }
  ~FFmpegParser() { avcodec_free_context(&context_); }

 private:
  std::unique_ptr<AVCodecParserContext, ParserCloser> parser_{av_parser_init(AV_CODEC_ID_H264)};
  AVCodecContext* context_ = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264));
};

TEST(PictureOrderTest, AgreesWithFFmpegOnRandomHeaders) {
  for (uint32_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&random](uint32_t limit) {
      return static_cast<uint32_t>(random() % limit);
    };
    Stream stream;
    stream.sps.pic_order_cnt_type = seed % 3;
    stream.sps.log2_max_pic_order_cnt_lsb_minus4 = below(5);
    stream.sps.frame_mbs_only_flag = below(2);
    stream.sps.delta_pic_order_always_zero_flag = below(2);
    stream.sps.max_num_ref_frames = 4;
    for (uint32_t i = below(4); i > 0; --i) {
      stream.sps.offsets_for_ref_frame.push_back(static_cast<int32_t>(below(9)));
    }
    stream.pic_order_present = below(2) != 0;
    stream.redundant_pic_cnt_present = below(2) != 0;
    PictureOrderReader reader;
    FFmpegParser parser;
    const uint32_t lsbs = 16u << stream.sps.log2_max_pic_order_cnt_lsb_minus4;
    Slice slice = Idr();
    for (int i = 0; i < 60; ++i) {
      const bool is_idr = slice.idr;
      std::string bytes = Write(stream, slice);
      if (is_idr) bytes = stream.Sets() + bytes;
      const auto order = Read(&reader, bytes);
      ASSERT_TRUE(order);
      ASSERT_EQ(order->count, parser.Read(bytes)) << "picture " << i;
      slice = below(20) == 0 ? Idr() : Frame((slice.frame_num + below(3)) % 16, 0, below(3) != 0);
      slice.type = slice.idr ? 7 : 5;
      slice.lsb = slice.idr ? 0 : below(lsbs);
      if (!slice.idr) slice.delta[0] = static_cast<int32_t>(below(7)) - 3;
      if (!slice.idr) slice.delta[1] = static_cast<int32_t>(below(7)) - 3;
      if (stream.sps.frame_mbs_only_flag == 0 && !slice.idr) slice.field = below(2) != 0;
      slice.bottom = slice.field && below(2) != 0;
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
