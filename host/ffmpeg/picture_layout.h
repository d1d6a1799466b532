// Puts pictures of any size upright in the middle of a canvas.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_PICTURE_LAYOUT_H_
#define HOST_FFMPEG_PICTURE_LAYOUT_H_

#include <cstdint>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

// The place of a picture on the canvas, in pixels; all even, since colour has half the resolution.
struct PictureRect {
  uint32_t x = 0;
  uint32_t y = 0;
  uint32_t width = 0;
  uint32_t height = 0;
};

// The largest place in the middle of the canvas for a picture of that shape, at least 2x2.
PictureRect FitIntoCanvas(uint32_t canvas_width, uint32_t canvas_height, double aspect_ratio);

class PictureLayout {
 public:
  // Width and height are even.
  PictureLayout(uint32_t canvas_width, uint32_t canvas_height)
      : canvas_width_(canvas_width), canvas_height_(canvas_height) {}

  // Makes `canvas` show `picture`, turned clockwise by `rotation` (0, 90, 180, 270), scaled and
  // with black around it. A picture that already fits becomes the canvas without a copy.
  // False: the picture has a format that cannot be scaled, and `canvas` is unchanged, or out of
  // memory.
  [[nodiscard]] bool Draw(const AVFrame& picture, int32_t rotation, AVFrame* canvas);

 private:
  struct Source {
    int width = 0;
    int height = 0;
    int format = -1;
    int range = 0;
    int aspect_numerator = 0;
    int aspect_denominator = 0;
    int32_t rotation = 0;

    bool operator==(const Source& other) const;
  };

  bool FitsAsItIs(const AVFrame& picture, int32_t rotation) const;
  bool Prepare(const AVFrame& picture, int32_t rotation);
  bool Scale(const AVFrame& picture, AVFrame* target);
  void TurnIntoCanvas(int32_t rotation);
  void PaintBars();

  const uint32_t canvas_width_;
  const uint32_t canvas_height_;
  Source source_;
  PictureRect place_;
  ScalerHandle scaler_;
  FrameHandle drawing_;  // The canvas with its black bars; reused.
  FrameHandle turned_;   // Scaled, not yet rotated; null without rotation.
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_PICTURE_LAYOUT_H_
