#include "host/ffmpeg/encoder_input.h"

#include <gmock/gmock.h>

#include <vector>

namespace kxrtc_host {
namespace {

// An encoder as far as its formats go.
AVCodec CodecThatTakes(const AVPixelFormat* formats) {
  AVCodec codec{};
  codec.pix_fmts = formats;
  return codec;
}

constexpr AVPixelFormat kPlanar[] = {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE};
constexpr AVPixelFormat kInterleaved[] = {AV_PIX_FMT_P010, AV_PIX_FMT_NV12, AV_PIX_FMT_NONE};
constexpr AVPixelFormat kCardOnly[] = {AV_PIX_FMT_VAAPI, AV_PIX_FMT_NONE};
constexpr AVPixelFormat kOther[] = {AV_PIX_FMT_RGB24, AV_PIX_FMT_NONE};

class EncoderInputTest : public testing::Test {
 protected:
  EncoderInputTest() : context_(avcodec_alloc_context3(nullptr)), picture_(av_frame_alloc()) {
    context_->width = picture_->width = kWidth;
    context_->height = picture_->height = kHeight;
    picture_->format = AV_PIX_FMT_YUV420P;
    picture_->pts = 7;
    picture_->pict_type = AV_PICTURE_TYPE_I;
    EXPECT_GE(av_frame_get_buffer(picture_.get(), 0), 0);
    for (int plane = 0; plane < 3; ++plane) {
      const int rows = plane == 0 ? kHeight : kHeight / 2;
      for (int i = 0; i < picture_->linesize[plane] * rows; ++i) {
        picture_->data[plane][i] = static_cast<uint8_t>(i * 7 + plane * 50);
      }
    }
  }

  // The picture as the encoder gets it.
  const AVFrame* Take(const AVCodec& codec) {
    EXPECT_TRUE(input_.Accepts(codec));
    EXPECT_GE(input_.Prepare(context_.get()), 0);
    const AVFrame* taken = nullptr;
    EXPECT_GE(input_.Take(*picture_, &taken), 0);
    return taken;
  }

  static constexpr int kWidth = 34;
  static constexpr int kHeight = 18;
  EncoderInput input_;
  CodecContextHandle context_;
  FrameHandle picture_;
};

TEST_F(EncoderInputTest, APlanarPictureIsTakenAsItIs) {
  EXPECT_EQ(Take(CodecThatTakes(kPlanar)), picture_.get());
  EXPECT_EQ(context_->pix_fmt, AV_PIX_FMT_YUV420P);
}

TEST_F(EncoderInputTest, AnEncoderWithoutAListGetsPlanarPictures) {
  EXPECT_EQ(Take(CodecThatTakes(nullptr)), picture_.get());
}

TEST_F(EncoderInputTest, ColoursAreInterleavedForWhatTakesThemSo) {
  const AVFrame* const taken = Take(CodecThatTakes(kInterleaved));
  EXPECT_EQ(context_->pix_fmt, AV_PIX_FMT_NV12);
  ASSERT_EQ(taken->format, AV_PIX_FMT_NV12);
  EXPECT_EQ(taken->pts, 7);
  EXPECT_EQ(taken->pict_type, AV_PICTURE_TYPE_I);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      ASSERT_EQ(taken->data[0][y * taken->linesize[0] + x],
                picture_->data[0][y * picture_->linesize[0] + x]);
      const int plane = 1 + x % 2;
      ASSERT_EQ(taken->data[1][y / 2 * taken->linesize[1] + x],
                picture_->data[plane][y / 2 * picture_->linesize[plane] + x / 2]);
    }
  }
  const AVFrame* again = nullptr;
  EXPECT_GE(input_.Take(*picture_, &again), 0);
  EXPECT_EQ(again->format, AV_PIX_FMT_NV12);
}

TEST_F(EncoderInputTest, OtherFormatsAreNotMade) {
  EXPECT_FALSE(input_.Accepts(CodecThatTakes(kOther)));
}

TEST_F(EncoderInputTest, WithoutAGraphicsCardItsEncoderIsNotPrepared) {
  ASSERT_TRUE(input_.Accepts(CodecThatTakes(kCardOnly)));
  const int result = input_.Prepare(context_.get());
  if (result >= 0) GTEST_SKIP() << "this machine has a graphics card";
  EXPECT_EQ(context_->hw_frames_ctx, nullptr);
}

}  // namespace
}  // namespace kxrtc_host
