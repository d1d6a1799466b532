#include "host/ffmpeg/jpeg_storyboard_painter.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "host/ffmpeg/jpeg_picture.h"
#include "kxrtc/recording/icon_frames.h"
#include "record/timing/rotation.h"

namespace kxrtc_host {
namespace {

constexpr int kPlanes = 3;
constexpr uint32_t kProbeWidth = 64;
constexpr uint32_t kProbeHeight = 36;

// Nothing darker than this is seen, and so many percent of a picture may be brighter by accident.
constexpr int kDarkestSeen = 40;
constexpr int kBrightPercent = 2;

// The filler clip, encoded again, differs from itself by less than 2 of 255 on average.
constexpr int64_t kLargestIconDifference = 4;

// Width or height of a plane of YUV 4:2:0.
int PlaneSide(int side, int plane) { return plane == 0 ? side : side / 2; }

// The mean difference of two probes.
int64_t MeanDifference(const AVFrame& a, const AVFrame& b) {
  int64_t sum = 0;
  int64_t count = 0;
  for (int plane = 0; plane < kPlanes; ++plane) {
    for (int y = 0; y < PlaneSide(a.height, plane); ++y) {
      for (int x = 0; x < PlaneSide(a.width, plane); ++x) {
        sum += std::abs(a.data[plane][y * a.linesize[plane] + x] -
                        b.data[plane][y * b.linesize[plane] + x]);
        ++count;
      }
    }
  }
  return sum / std::max<int64_t>(count, 1);
}

bool IsBlack(const AVFrame& probe) {
  int bright = 0;
  for (int y = 0; y < probe.height; ++y) {
    const uint8_t* const row = probe.data[0] + y * probe.linesize[0];
    bright += static_cast<int>(
        std::count_if(row, row + probe.width, [](uint8_t luma) { return luma > kDarkestSeen; }));
  }
  return bright * 100 < probe.width * probe.height * kBrightPercent;
}

FrameHandle MakePicture(const ImageSize& size) {
  FrameHandle picture(av_frame_alloc());
  if (picture == nullptr) return picture;
  picture->width = static_cast<int>(size.width);
  picture->height = static_cast<int>(size.height);
  picture->format = AV_PIX_FMT_YUV420P;
  if (av_frame_get_buffer(picture.get(), 0) < 0) picture.reset();
  return picture;
}

}  // namespace

JpegStoryboardPainter::JpegStoryboardPainter(const ImageSize& tile, const ImageSize& sheet)
    : tile_size_(tile),
      tile_layout_(tile.width, tile.height),
      probe_layout_(kProbeWidth, kProbeHeight),
      sheet_(MakePicture(sheet)),
      tile_(av_frame_alloc()),
      probe_(av_frame_alloc()),
      icon_probe_(av_frame_alloc()) {
  if (sheet_ != nullptr) BlackenSheet();
  const kxrtc::IconFrame& clip = kxrtc::kIconFrames[0];
  const FrameHandle icon = DecodeKeyFrame(clip.data, clip.size, Deblocking::kOff);
  PictureLayout layout(kProbeWidth, kProbeHeight);
  if (icon == nullptr || icon_probe_ == nullptr || !layout.Draw(*icon, 0, icon_probe_.get())) {
    icon_probe_.reset();
  }
}

void JpegStoryboardPainter::BlackenSheet() {
  const ptrdiff_t strides[] = {sheet_->linesize[0], sheet_->linesize[1], sheet_->linesize[2]};
  (void)av_image_fill_black(sheet_->data, strides, AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG,
                            sheet_->width, sheet_->height);
}

PictureKind JpegStoryboardPainter::Judge(const AVFrame& picture) {
  // As it was encoded: the filler clip is never turned.
  if (probe_ == nullptr || !probe_layout_.Draw(picture, 0, probe_.get())) return PictureKind::kNone;
  const bool is_icon =
      icon_probe_ != nullptr && MeanDifference(*probe_, *icon_probe_) < kLargestIconDifference;
  if (is_icon) return PictureKind::kIcon;
  return IsBlack(*probe_) ? PictureKind::kBlack : PictureKind::kGood;
}

PictureKind JpegStoryboardPainter::Decode(const KeyFrame& frame) {
  picture_ = DecodeKeyFrame(frame.access_unit.data(),
                            static_cast<uint32_t>(frame.access_unit.size()), Deblocking::kOff);
  turn_ = NormalRotation(frame.rotation);
  return picture_ == nullptr ? PictureKind::kNone : Judge(*picture_);
}

bool JpegStoryboardPainter::DrawTile(uint32_t x, uint32_t y) {
  if (sheet_ == nullptr || tile_ == nullptr || !tile_layout_.Draw(*picture_, turn_, tile_.get())) {
    return false;
  }
  for (int plane = 0; plane < kPlanes; ++plane) {
    const int left = PlaneSide(static_cast<int>(x), plane);
    const int top = PlaneSide(static_cast<int>(y), plane);
    av_image_copy_plane(sheet_->data[plane] + top * sheet_->linesize[plane] + left,
                        sheet_->linesize[plane], tile_->data[plane], tile_->linesize[plane],
                        PlaneSide(static_cast<int>(tile_size_.width), plane),
                        PlaneSide(static_cast<int>(tile_size_.height), plane));
  }
  return true;
}

std::string JpegStoryboardPainter::TakeSheet(const ImageSize& size) {
  if (sheet_ == nullptr) return "";
  std::string jpeg = EncodeJpeg(*sheet_, size.width, size.height);
  BlackenSheet();
  return jpeg;
}

std::string JpegStoryboardPainter::MakePoster(const KeyFrame& frame, ImageSize* size) {
  const FrameHandle picture = DecodeKeyFrame(
      frame.access_unit.data(), static_cast<uint32_t>(frame.access_unit.size()), Deblocking::kOn);
  const FrameHandle canvas(av_frame_alloc());
  if (picture == nullptr || canvas == nullptr) return "";
  const int32_t turn = NormalRotation(frame.rotation);
  const auto longer = static_cast<uint32_t>(std::max(picture->width, picture->height));
  const uint32_t side = std::max(2u, std::min(kMaxPosterSide, longer) / 2 * 2);
  const PictureRect place = FitIntoCanvas(side, side, UprightRatio(*picture, turn));
  PictureLayout layout(place.width, place.height);
  if (!layout.Draw(*picture, turn, canvas.get())) return "";
  *size = {place.width, place.height};
  return EncodeJpeg(*canvas, place.width, place.height);
}

}  // namespace kxrtc_host
