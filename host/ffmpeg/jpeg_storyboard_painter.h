// Makes the JPEG files of a storyboard from H.264 key frames.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_JPEG_STORYBOARD_PAINTER_H_
#define HOST_FFMPEG_JPEG_STORYBOARD_PAINTER_H_

#include <cstdint>
#include <string>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/ffmpeg/picture_layout.h"
#include "record/show/storyboard_painter.h"

namespace kxrtc_host {

class JpegStoryboardPainter final : public StoryboardPainter {
 public:
  // All sides are even. Tiles lie within the sheet.
  JpegStoryboardPainter(const ImageSize& tile, const ImageSize& sheet);

  PictureKind Decode(const KeyFrame& frame) override;
  [[nodiscard]] bool DrawTile(uint32_t x, uint32_t y) override;
  std::string TakeSheet(const ImageSize& size) override;
  std::string MakePoster(const KeyFrame& frame, ImageSize* size) override;

 private:
  PictureKind Judge(const AVFrame& picture);
  void BlackenSheet();

  const ImageSize tile_size_;
  PictureLayout tile_layout_;
  PictureLayout probe_layout_;
  FrameHandle sheet_;  // Null: out of memory.
  FrameHandle tile_;
  FrameHandle probe_;       // A tiny copy of what is judged.
  FrameHandle icon_probe_;  // Of the filler clip.
  FrameHandle picture_;     // Decoded last.
  int32_t turn_ = 0;        // Of that one.
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_JPEG_STORYBOARD_PAINTER_H_
