#include "host/ffmpeg/picture_layout.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace kxrtc_host {
namespace {

struct FitCase {
  const char* name;
  uint32_t canvas_width;
  uint32_t canvas_height;
  double ratio;
  PictureRect place;
};

class FitIntoCanvasTest : public ::testing::TestWithParam<FitCase> {};

TEST_P(FitIntoCanvasTest, IsInTheMiddleOnEvenPixels) {
  const FitCase& test = GetParam();
  const PictureRect place = FitIntoCanvas(test.canvas_width, test.canvas_height, test.ratio);
  EXPECT_EQ(place.x, test.place.x);
  EXPECT_EQ(place.y, test.place.y);
  EXPECT_EQ(place.width, test.place.width);
  EXPECT_EQ(place.height, test.place.height);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FitIntoCanvasTest,
    ::testing::Values(FitCase{"SameShape", 640, 360, 16.0 / 9, {0, 0, 640, 360}},
                      FitCase{"Narrower", 640, 360, 4.0 / 3, {80, 0, 480, 360}},
                      FitCase{"Upright", 640, 360, 9.0 / 16, {218, 0, 202, 360}},
                      FitCase{"Wider", 640, 360, 3, {0, 72, 640, 214}},
                      FitCase{"VeryWide", 640, 360, 10000, {0, 178, 640, 2}},
                      FitCase{"VeryHigh", 640, 360, 0.0001, {318, 0, 2, 360}}),
    [](const auto& param) { return std::string(param.param.name); });

FrameHandle Picture(int width, int height, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
  FrameHandle picture(av_frame_alloc());
  picture->width = width;
  picture->height = height;
  picture->format = format;
  EXPECT_GE(av_frame_get_buffer(picture.get(), 0), 0);
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? height : height / 2;
    std::fill_n(picture->data[plane], picture->linesize[plane] * rows,
                static_cast<uint8_t>(plane == 0 ? 80 : 128));
  }
  return picture;
}

// Paints the upper left quarter of the picture.
void PaintCorner(AVFrame* picture, uint8_t luma) {
  for (int row = 0; row < picture->height / 2; ++row) {
    std::fill_n(picture->data[0] + row * picture->linesize[0], picture->width / 2, luma);
  }
}

int Luma(const AVFrame& picture, int x, int y) {
  return picture.data[0][y * picture.linesize[0] + x];
}

TEST(PictureLayoutTest, APictureThatFitsIsNotCopied) {
  PictureLayout layout(64, 32);
  FrameHandle picture = Picture(64, 32);
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*picture, 0, canvas.get()));
  EXPECT_EQ(canvas->data[0], picture->data[0]);
}

struct TurnCase {
  int32_t rotation;
  int x;  // Where the upper left corner of the source comes to lie.
  int y;
};

class TurnTest : public ::testing::TestWithParam<TurnCase> {};

TEST_P(TurnTest, TurnsClockwise) {
  const TurnCase& test = GetParam();
  const bool sideways = test.rotation % 180 != 0;
  FrameHandle picture = sideways ? Picture(32, 64) : Picture(64, 32);
  PaintCorner(picture.get(), 200);
  PictureLayout layout(64, 32);
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*picture, test.rotation, canvas.get()));
  ASSERT_EQ(canvas->width, 64);
  ASSERT_EQ(canvas->height, 32);
  for (int x : {4, 59}) {
    for (int y : {4, 27}) {
      const int expected = x == test.x && y == test.y ? 200 : 80;
      EXPECT_NEAR(Luma(*canvas, x, y), expected, 3) << x << "," << y;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, TurnTest,
                         ::testing::Values(TurnCase{0, 4, 4}, TurnCase{90, 59, 4},
                                           TurnCase{180, 59, 27}, TurnCase{270, 4, 27}),
                         [](const auto& param) {
                           return "By" + std::to_string(param.param.rotation);
                         });

TEST(PictureLayoutTest, PutsBlackBesideANarrowPicture) {
  PictureLayout layout(64, 32);
  FrameHandle picture = Picture(32, 32);
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*picture, 0, canvas.get()));
  EXPECT_EQ(Luma(*canvas, 0, 16), 16);
  EXPECT_EQ(Luma(*canvas, 63, 16), 16);
  EXPECT_EQ(Luma(*canvas, 32, 16), 80);
  EXPECT_EQ(canvas->data[1][0], 128);
}

TEST(PictureLayoutTest, BarsAreBlackAgainWhenTheShapeChanges) {
  PictureLayout layout(64, 32);
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*Picture(128, 64), 0, canvas.get()));
  EXPECT_EQ(Luma(*canvas, 0, 16), 80);
  ASSERT_TRUE(layout.Draw(*Picture(16, 32), 0, canvas.get()));
  EXPECT_EQ(Luma(*canvas, 0, 16), 16);
}

TEST(PictureLayoutTest, AnotherHolderOfTheCanvasKeepsItsPicture) {
  PictureLayout layout(64, 32);
  FrameHandle canvas(av_frame_alloc());
  FrameHandle held(av_frame_alloc());
  FrameHandle dark = Picture(32, 32);
  ASSERT_TRUE(layout.Draw(*dark, 0, canvas.get()));
  ASSERT_GE(av_frame_ref(held.get(), canvas.get()), 0);
  FrameHandle bright = Picture(32, 32);
  PaintCorner(bright.get(), 220);
  ASSERT_TRUE(layout.Draw(*bright, 0, canvas.get()));
  EXPECT_NEAR(Luma(*canvas, 20, 4), 220, 3);
  EXPECT_EQ(Luma(*held, 20, 4), 80);
}

// A colour in each plane.
using Colour = std::array<int, 3>;
constexpr Colour kBlack = {16, 128, 128};
constexpr Colour kSurface = {80, 100, 150};
constexpr Colour kCorner = {190, 60, 200};

void Paint(AVFrame* picture, int width, int height, const Colour& colour) {
  for (size_t plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    for (int row = 0; row < (height + shift) >> shift; ++row) {
      std::fill_n(picture->data[plane] + row * picture->linesize[plane], (width + shift) >> shift,
                  static_cast<uint8_t>(colour[plane]));
    }
  }
}

Colour ColourAt(const AVFrame& picture, int x, int y) {
  Colour colour{};
  for (size_t plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    colour[plane] = picture.data[plane][(y >> shift) * picture.linesize[plane] + (x >> shift)];
  }
  return colour;
}

struct ShapeCase {
  const char* name;
  int width;
  int height;
};

class EachPixelTest : public ::testing::TestWithParam<ShapeCase> {};

// All planes, all turns: the picture in its place, with its upper left corner where it belongs, and
// black around it.
TEST_P(EachPixelTest, IsOfThePictureOrBlack) {
  constexpr int kWidth = 64;
  constexpr int kHeight = 48;
  for (const int32_t rotation : {0, 90, 180, 270}) {
    SCOPED_TRACE(rotation);
    const FrameHandle picture = Picture(GetParam().width, GetParam().height);
    Paint(picture.get(), picture->width, picture->height, kSurface);
    Paint(picture.get(), picture->width / 2, picture->height / 2, kCorner);
    PictureLayout layout(kWidth, kHeight);
    const FrameHandle canvas(av_frame_alloc());
    ASSERT_TRUE(layout.Draw(*picture, rotation, canvas.get()));
    const bool sideways = rotation % 180 != 0;
    const double ratio = static_cast<double>(picture->width) / picture->height;
    const PictureRect place = FitIntoCanvas(kWidth, kHeight, sideways ? 1 / ratio : ratio);
    const bool is_right = rotation == 90 || rotation == 180;
    const bool is_below = rotation == 180 || rotation == 270;
    const int left = static_cast<int>(place.x);
    const int top = static_cast<int>(place.y);
    const int right = left + static_cast<int>(place.width);
    const int bottom = top + static_cast<int>(place.height);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        // Between the corner and the rest the scaler mixes them.
        constexpr int kMixed = 6;
        const int from_middle_x = 2 * x + 1 - left - right;
        const int from_middle_y = 2 * y + 1 - top - bottom;
        const bool is_inside = x >= left && x < right && y >= top && y < bottom;
        if (is_inside &&
            (std::abs(from_middle_x) < 2 * kMixed || std::abs(from_middle_y) < 2 * kMixed)) {
          continue;
        }
        const bool is_corner = (from_middle_x > 0) == is_right && (from_middle_y > 0) == is_below;
        const Colour& expected = !is_inside ? kBlack : is_corner ? kCorner : kSurface;
        const Colour colour = ColourAt(*canvas, x, y);
        for (size_t plane = 0; plane < 3; ++plane) {
          ASSERT_NEAR(colour[plane], expected[plane], is_inside ? 4 : 0)
              << x << "," << y << " plane " << plane;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, EachPixelTest,
                         ::testing::Values(ShapeCase{"SameShape", 128, 96},
                                           ShapeCase{"Upright", 60, 100},
                                           ShapeCase{"Wide", 200, 60}, ShapeCase{"Square", 32, 32},
                                           ShapeCase{"Strip", 400, 10}),
                         [](const auto& param) { return param.param.name; });

TEST(PictureLayoutTest, APictureHasAtLeastOnePixel) {
  PictureLayout layout(64, 32);
  const FrameHandle canvas(av_frame_alloc());
  EXPECT_TRUE(layout.Draw(*Picture(1, 8), 0, canvas.get()));
  EXPECT_TRUE(layout.Draw(*Picture(8, 1), 0, canvas.get()));
  const FrameHandle none = Picture(8, 8);
  none->width = 0;
  EXPECT_FALSE(layout.Draw(*none, 0, canvas.get()));
  none->width = 8;
  none->height = 0;
  EXPECT_FALSE(layout.Draw(*none, 0, canvas.get()));
}

TEST(PictureLayoutTest, RespectsTheShapeOfPixels) {
  PictureLayout layout(64, 32);
  FrameHandle picture = Picture(32, 32);
  picture->sample_aspect_ratio = {2, 1};
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*picture, 0, canvas.get()));
  EXPECT_EQ(Luma(*canvas, 0, 16), 80);
  FrameHandle upright = Picture(64, 16);
  upright->sample_aspect_ratio = {1, 2};
  ASSERT_TRUE(layout.Draw(*upright, 0, canvas.get()));
  EXPECT_EQ(Luma(*canvas, 32, 0), 80);
}

TEST(PictureLayoutTest, NarrowsTheFullRangeOfLuma) {
  PictureLayout layout(64, 32);
  FrameHandle picture = Picture(64, 32);
  picture->color_range = AVCOL_RANGE_JPEG;
  PaintCorner(picture.get(), 255);
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*picture, 0, canvas.get()));
  EXPECT_NEAR(Luma(*canvas, 4, 4), 235, 2);
}

TEST(PictureLayoutTest, ConvertsOtherFormats) {
  PictureLayout layout(64, 32);
  FrameHandle picture = Picture(64, 32, AV_PIX_FMT_YUV422P);
  FrameHandle canvas(av_frame_alloc());
  ASSERT_TRUE(layout.Draw(*picture, 0, canvas.get()));
  EXPECT_EQ(canvas->format, AV_PIX_FMT_YUV420P);
}

TEST(PictureLayoutTest, KeepsTheLastPictureWhenOneCannotBeScaled) {
  PictureLayout layout(64, 32);
  FrameHandle canvas(av_frame_alloc());
  FrameHandle picture = Picture(32, 32);
  ASSERT_TRUE(layout.Draw(*picture, 0, canvas.get()));
  picture->format = AV_PIX_FMT_VAAPI;
  EXPECT_FALSE(layout.Draw(*picture, 0, canvas.get()));
  EXPECT_EQ(Luma(*canvas, 32, 16), 80);
}

}  // namespace
}  // namespace kxrtc_host
