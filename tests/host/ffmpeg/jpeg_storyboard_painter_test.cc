#include "host/ffmpeg/jpeg_storyboard_painter.h"

#include <gtest/gtest.h>

#include <string>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "kxrtc/recording/icon_frames.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

constexpr int kWhite = 200;  // At least, in the square of a picture.
constexpr int kDark = 30;    // At most, where nothing is drawn.

KeyFrame Frame(const std::string& bytes, int32_t rotation = 0) {
  return {{bytes.begin(), bytes.end()}, rotation, 0};
}

KeyFrame Grey(int luma) { return Frame(kx_testing::TinyVideo(320, 180, 1, 250, luma).front()); }

FrameHandle DecodeJpeg(const std::string& jpeg) {
  const CodecContextHandle context(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_MJPEG)));
  const PacketHandle packet(av_packet_alloc());
  FrameHandle picture(av_frame_alloc());
  EXPECT_GE(avcodec_open2(context.get(), nullptr, nullptr), 0);
  EXPECT_GE(av_new_packet(packet.get(), static_cast<int>(jpeg.size())), 0);
  std::copy(jpeg.begin(), jpeg.end(), packet->data);
  EXPECT_GE(avcodec_send_packet(context.get(), packet.get()), 0);
  EXPECT_GE(avcodec_receive_frame(context.get(), picture.get()), 0);
  return picture;
}

int LumaAt(const AVFrame& picture, int x, int y) {
  return picture.data[0][y * picture.linesize[0] + x];
}

class JpegStoryboardPainterTest : public testing::Test {
 protected:
  JpegStoryboardPainter painter_{{160, 90}, {320, 180}};
};

TEST_F(JpegStoryboardPainterTest, TellsPicturesApart) {
  const kxrtc::IconFrame& icon = kxrtc::kIconFrames[0];
  EXPECT_EQ(painter_.Decode(Frame({icon.data, icon.data + icon.size})), PictureKind::kIcon);
  EXPECT_EQ(painter_.Decode(Grey(100)), PictureKind::kGood);
  EXPECT_EQ(painter_.Decode(Frame("damaged")), PictureKind::kNone);
  EXPECT_EQ(painter_.Decode(Frame("")), PictureKind::kNone);
}

TEST_F(JpegStoryboardPainterTest, DrawsEachTileInItsPlaceAndNothingElse) {
  ASSERT_EQ(painter_.Decode(Grey(100)), PictureKind::kGood);
  ASSERT_TRUE(painter_.DrawTile(160, 90));
  const FrameHandle sheet = DecodeJpeg(painter_.TakeSheet({320, 180}));
  ASSERT_EQ(sheet->width, 320);
  ASSERT_EQ(sheet->height, 180);
  EXPECT_GT(LumaAt(*sheet, 170, 100), kWhite);
  EXPECT_NEAR(LumaAt(*sheet, 300, 160), 98, 8) << "full range";
  EXPECT_LT(LumaAt(*sheet, 80, 45), kDark);
  EXPECT_LT(LumaAt(*sheet, 150, 100), kDark);
  const FrameHandle next = DecodeJpeg(painter_.TakeSheet({160, 90}));
  EXPECT_EQ(next->width, 160);
  EXPECT_EQ(next->height, 90);
  EXPECT_LT(LumaAt(*next, 80, 45), kDark);
}

TEST_F(JpegStoryboardPainterTest, ATurnedPictureIsUprightBetweenBars) {
  const KeyFrame turned = Frame(kx_testing::TinyVideo(320, 180, 1, 250, 100).front(), 90);
  ASSERT_EQ(painter_.Decode(turned), PictureKind::kGood);
  ASSERT_TRUE(painter_.DrawTile(0, 0));
  const FrameHandle sheet = DecodeJpeg(painter_.TakeSheet({160, 90}));
  EXPECT_LT(LumaAt(*sheet, 20, 45), kDark);
  EXPECT_LT(LumaAt(*sheet, 140, 45), kDark);
  EXPECT_GT(LumaAt(*sheet, 98, 8), kWhite) << "the square is in the upper right corner";
  EXPECT_GT(LumaAt(*sheet, 80, 80), 80);
  ImageSize size;
  const FrameHandle poster = DecodeJpeg(painter_.MakePoster(turned, &size));
  EXPECT_EQ(size.width, 180u);
  EXPECT_EQ(size.height, 320u);
  EXPECT_EQ(poster->width, 180);
  EXPECT_EQ(poster->height, 320);
}

TEST_F(JpegStoryboardPainterTest, APosterHasALargestSide) {
  ImageSize size;
  EXPECT_FALSE(
      painter_.MakePoster(Frame(kx_testing::TinyVideo(2560, 1440, 1).front()), &size).empty());
  EXPECT_EQ(size.width, kMaxPosterSide);
  EXPECT_EQ(size.height, kMaxPosterSide * 9 / 16);
  EXPECT_EQ(painter_.MakePoster(Frame("damaged"), &size), "");
}

}  // namespace
}  // namespace kxrtc_host
