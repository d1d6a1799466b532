#include "host/ffmpeg/picture_layout.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>

#include "record/timing/rotation.h"

namespace kxrtc_host {
namespace {

constexpr int kPlaneCount = 3;
constexpr uint8_t kBlack[kPlaneCount] = {16, 128, 128};

uint32_t Even(double value) { return static_cast<uint32_t>(value / 2 + 0.5) * 2; }

FrameHandle MakePicture(uint32_t width, uint32_t height) {
  FrameHandle picture(av_frame_alloc());
  if (picture == nullptr) return picture;
  picture->width = static_cast<int>(width);
  picture->height = static_cast<int>(height);
  picture->format = AV_PIX_FMT_YUV420P;
  if (av_frame_get_buffer(picture.get(), 0) < 0) picture.reset();
  return picture;
}

// The scaler detects full-range luma only from the pixel format.
AVPixelFormat FormatWithRange(const AVFrame& picture) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  if (picture.color_range != AVCOL_RANGE_JPEG) return format;
  switch (format) {
    case AV_PIX_FMT_YUV420P:
      return AV_PIX_FMT_YUVJ420P;
    case AV_PIX_FMT_YUV422P:
      return AV_PIX_FMT_YUVJ422P;
    case AV_PIX_FMT_YUV444P:
      return AV_PIX_FMT_YUVJ444P;
    default:
      return format;
  }
}

// A plane of the source, and the steps through it that fill the target row by row.
struct Walk {
  const uint8_t* first;
  ptrdiff_t to_next_column;
  ptrdiff_t to_next_row;
};

Walk WalkTurned(const uint8_t* plane, ptrdiff_t stride, ptrdiff_t width, ptrdiff_t height,
                int32_t rotation) {
  switch (rotation) {
    case 90:  // The left column, from the bottom up, becomes the top row.
      return {plane + (height - 1) * stride, -stride, 1};
    case 180:
      return {plane + (height - 1) * stride + width - 1, -1, -stride};
    default:  // 270: the right column, from the top down, becomes the top row.
      return {plane + width - 1, stride, -1};
  }
}

}  // namespace

PictureRect FitIntoCanvas(uint32_t canvas_width, uint32_t canvas_height, double aspect_ratio) {
  PictureRect rect;
  rect.width = std::clamp(Even(canvas_height * aspect_ratio), 2u, canvas_width);
  rect.height = std::clamp(Even(canvas_width / aspect_ratio), 2u, canvas_height);
  rect.x = (canvas_width - rect.width) / 4 * 2;
  rect.y = (canvas_height - rect.height) / 4 * 2;
  return rect;
}

bool PictureLayout::Source::operator==(const Source& other) const {
  return width == other.width && height == other.height && format == other.format &&
         range == other.range && aspect_numerator == other.aspect_numerator &&
         aspect_denominator == other.aspect_denominator && rotation == other.rotation;
}

bool PictureLayout::FitsAsItIs(const AVFrame& picture, int32_t rotation) const {
  const AVRational aspect = picture.sample_aspect_ratio;
  return rotation == 0 && picture.format == AV_PIX_FMT_YUV420P &&
         picture.color_range != AVCOL_RANGE_JPEG &&
         static_cast<uint32_t>(picture.width) == canvas_width_ &&
         static_cast<uint32_t>(picture.height) == canvas_height_ &&
         (aspect.num == 0 || aspect.num == aspect.den);
}

// Everything that depends only on the kind of picture.
bool PictureLayout::Prepare(const AVFrame& picture, int32_t rotation) {
  const AVRational aspect = picture.sample_aspect_ratio;
  const Source source = {picture.width, picture.height, picture.format, picture.color_range,
                         aspect.num,    aspect.den,     rotation};
  if (scaler_ != nullptr && source == source_) return true;
  scaler_.reset();
  if (picture.width <= 0 || picture.height <= 0) return false;
  double ratio = static_cast<double>(picture.width) / picture.height;
  if (aspect.num > 0 && aspect.den > 0) ratio *= av_q2d(aspect);
  const bool sideways = IsSideways(rotation);
  place_ = FitIntoCanvas(canvas_width_, canvas_height_, sideways ? 1 / ratio : ratio);
  const uint32_t width = sideways ? place_.height : place_.width;
  const uint32_t height = sideways ? place_.width : place_.height;
  turned_ = rotation != 0 ? MakePicture(width, height) : nullptr;
  drawing_ = MakePicture(canvas_width_, canvas_height_);
  if (drawing_ == nullptr || (rotation != 0 && turned_ == nullptr)) return false;
  scaler_.reset(sws_getContext(picture.width, picture.height, FormatWithRange(picture),
                               static_cast<int>(width), static_cast<int>(height),
                               AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (scaler_ == nullptr) return false;
  source_ = source;
  return true;
}

bool PictureLayout::Scale(const AVFrame& picture, AVFrame* target) {
  uint8_t* planes[AV_NUM_DATA_POINTERS] = {};
  const bool onto_canvas = target == drawing_.get();
  for (int plane = 0; plane < kPlaneCount; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    planes[plane] = target->data[plane];
    if (onto_canvas) {
      planes[plane] +=
          static_cast<ptrdiff_t>(place_.y >> shift) * target->linesize[plane] + (place_.x >> shift);
    }
  }
  return sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height, planes,
                   target->linesize) > 0;
}

void PictureLayout::TurnIntoCanvas(int32_t rotation) {
  for (int plane = 0; plane < kPlaneCount; ++plane) {
    const uint32_t shift = plane == 0 ? 0 : 1;
    const ptrdiff_t stride = drawing_->linesize[plane];
    const ptrdiff_t columns = place_.width >> shift;
    const ptrdiff_t rows = place_.height >> shift;
    const Walk walk = WalkTurned(turned_->data[plane], turned_->linesize[plane],
                                 turned_->width >> shift, turned_->height >> shift, rotation);
    uint8_t* target = drawing_->data[plane] + static_cast<ptrdiff_t>(place_.y >> shift) * stride +
                      (place_.x >> shift);
    for (ptrdiff_t row = 0; row < rows; ++row) {
      const uint8_t* from = walk.first + row * walk.to_next_row;
      for (ptrdiff_t column = 0; column < columns; ++column) {
        target[column] = from[column * walk.to_next_column];
      }
      target += stride;
    }
  }
}

// For each picture: the scaler writes whole vectors, and thus beyond the end of a row.
void PictureLayout::PaintBars() {
  for (int plane = 0; plane < kPlaneCount; ++plane) {
    const uint32_t shift = plane == 0 ? 0 : 1;
    const uint32_t columns = canvas_width_ >> shift;
    const uint32_t left = place_.x >> shift;
    const uint32_t right = (place_.x + place_.width) >> shift;
    const uint32_t top = place_.y >> shift;
    const uint32_t bottom = (place_.y + place_.height) >> shift;
    for (uint32_t row = 0; row < canvas_height_ >> shift; ++row) {
      uint8_t* line = drawing_->data[plane] + ptrdiff_t{row} * drawing_->linesize[plane];
      const bool has_picture = row >= top && row < bottom;
      std::memset(line, kBlack[plane], has_picture ? left : columns);
      if (has_picture) std::memset(line + right, kBlack[plane], columns - right);
    }
  }
}

bool PictureLayout::Draw(const AVFrame& picture, int32_t rotation, AVFrame* canvas) {
  if (FitsAsItIs(picture, rotation)) {
    av_frame_unref(canvas);
    return av_frame_ref(canvas, &picture) >= 0;
  }
  if (!Prepare(picture, rotation)) return false;
  av_frame_unref(canvas);
  // The encoder may still use the last canvas; then draw on a copy.
  if (av_frame_make_writable(drawing_.get()) < 0) return false;
  if (!Scale(picture, rotation != 0 ? turned_.get() : drawing_.get())) return false;
  if (rotation != 0) TurnIntoCanvas(rotation);
  PaintBars();
  return av_frame_ref(canvas, drawing_.get()) >= 0;
}

}  // namespace kxrtc_host
