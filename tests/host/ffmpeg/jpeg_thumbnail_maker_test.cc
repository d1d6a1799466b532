#include "host/ffmpeg/jpeg_thumbnail_maker.h"

#include <gmock/gmock.h>

#include <string>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

using testing::IsEmpty;

constexpr int kWhite = 200;  // At least, in a picture with a white square on dark grey.

std::string Make(const std::string& frame, int32_t rotation = 0) {
  return JpegThumbnailMaker().Make(reinterpret_cast<const uint8_t*>(frame.data()),
                                   static_cast<uint32_t>(frame.size()), rotation);
}

std::string KeyFrameOf(int width, int height) {
  return kx_testing::TinyVideo(width, height, 1).front();
}

FrameHandle DecodeJpeg(const std::string& jpeg) {
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
  const CodecContextHandle context(avcodec_alloc_context3(codec));
  const PacketHandle packet(av_packet_alloc());
  FrameHandle picture(av_frame_alloc());
  EXPECT_GE(avcodec_open2(context.get(), codec, nullptr), 0);
  EXPECT_GE(av_new_packet(packet.get(), static_cast<int>(jpeg.size())), 0);
  std::copy(jpeg.begin(), jpeg.end(), packet->data);
  EXPECT_GE(avcodec_send_packet(context.get(), packet.get()), 0);
  EXPECT_GE(avcodec_receive_frame(context.get(), picture.get()), 0);
  return picture;
}

// The luma at a place given in fractions of the picture.
int LumaAt(const AVFrame& picture, double x, double y) {
  return picture.data[0][static_cast<int>(y * picture.height) * picture.linesize[0] +
                         static_cast<int>(x * picture.width)];
}

struct ShapeCase {
  const char* name;
  int width;
  int height;
  int32_t rotation;
  int thumbnail_width;
  int thumbnail_height;
  double square_x;  // Where the white square of the upper left corner is afterwards.
  double square_y;
};

class ThumbnailShapeTest : public testing::TestWithParam<ShapeCase> {};

TEST_P(ThumbnailShapeTest, IsSmallAndUpright) {
  const ShapeCase& test = GetParam();
  const std::string jpeg = Make(KeyFrameOf(test.width, test.height), test.rotation);
  ASSERT_FALSE(jpeg.empty());
  EXPECT_EQ(jpeg.find("Lav"), std::string::npos) << "names the program that made it";
  const FrameHandle picture = DecodeJpeg(jpeg);
  EXPECT_EQ(picture->width, test.thumbnail_width);
  EXPECT_EQ(picture->height, test.thumbnail_height);
  EXPECT_GT(LumaAt(*picture, test.square_x, test.square_y), kWhite);
  EXPECT_LT(LumaAt(*picture, 0.5, 0.5), 100);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ThumbnailShapeTest,
    testing::Values(ShapeCase{"Wide", 640, 360, 0, 160, 90, 0.1, 0.1},
                    ShapeCase{"Classic", 320, 240, 0, 160, 120, 0.1, 0.1},
                    ShapeCase{"SmallIsEnlarged", 64, 48, 0, 160, 120, 0.1, 0.1},
                    ShapeCase{"Quarter", 640, 360, 90, 68, 120, 0.9, 0.1},
                    ShapeCase{"Half", 640, 360, 180, 160, 90, 0.9, 0.9},
                    ShapeCase{"ThreeQuarters", 640, 360, -90, 68, 120, 0.1, 0.9},
                    ShapeCase{"OddAngle", 640, 360, 95, 68, 120, 0.9, 0.1}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(JpegThumbnailMakerTest, IsTheSameEachTime) {
  const std::string frame = KeyFrameOf(320, 240);
  EXPECT_EQ(Make(frame), Make(frame));
}

TEST(JpegThumbnailMakerTest, LeavesOutWhatCannotBeDecoded) {
  const std::string frame = KeyFrameOf(320, 240);
  constexpr int kSps = 7;
  EXPECT_THAT(Make(""), IsEmpty());
  EXPECT_THAT(Make(std::string(1000, 'x')), IsEmpty());
  EXPECT_THAT(Make(kx_testing::WithoutNal(frame, kSps)), IsEmpty());
  EXPECT_THAT(Make(kx_testing::TinyVideo(320, 240, 2).back()), IsEmpty()) << "a delta frame";
}

TEST(JpegThumbnailMakerTest, LeavesOutPicturesThatTakeMuchMemory) {
  EXPECT_FALSE(Make(KeyFrameOf(4096, 2304)).empty());
  EXPECT_THAT(Make(KeyFrameOf(8192, 2304)), IsEmpty());
}

TEST(JpegThumbnailMakerTest, NoTruncationGivesADamagedPicture) {
  const std::string frame = KeyFrameOf(320, 240);
  const std::string whole = Make(frame);
  for (size_t size = 0; size + 8 < frame.size(); size += 1 + frame.size() / 100) {
    EXPECT_THAT(Make(frame.substr(0, size)), IsEmpty()) << size << " of " << frame.size();
  }
  EXPECT_EQ(Make(frame), whole);
}

}  // namespace
}  // namespace kxrtc_host
