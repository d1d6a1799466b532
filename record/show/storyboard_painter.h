// What makes the pictures of a storyboard. The host implements it, since it needs a decoder.
#ifndef RECORD_SHOW_STORYBOARD_PAINTER_H_
#define RECORD_SHOW_STORYBOARD_PAINTER_H_

#include <cstdint>
#include <string>

#include "record/show/key_frame_source.h"

namespace kxrtc_host {

// What a picture shows; the later the better for a poster.
enum class PictureKind {
  kNone,  // It cannot be decoded, or not without damage.
  kIcon,  // The filler clip.
  kBlack,
  kGood,
};

struct ImageSize {
  uint32_t width = 0;
  uint32_t height = 0;
};

// The longer side of a poster; larger pictures are made smaller.
inline constexpr uint32_t kMaxPosterSide = 1920;

// Threads: an object belongs to one thread at a time.
class StoryboardPainter {
 public:
  virtual ~StoryboardPainter() = default;

  // Decodes a key frame for DrawTile().
  virtual PictureKind Decode(const KeyFrame& frame) = 0;

  // Draws that picture into the tile of the sheet that begins at `x`, `y`: upright, in its shape,
  // with black around it. False: out of memory.
  [[nodiscard]] virtual bool DrawTile(uint32_t x, uint32_t y) = 0;

  // The first `size` pixels of the sheet as a JPEG file; the sheet is black again. Empty: out of
  // memory.
  virtual std::string TakeSheet(const ImageSize& size) = 0;

  // A JPEG file of the whole key frame, upright, and its size. Empty: it cannot be made.
  virtual std::string MakePoster(const KeyFrame& frame, ImageSize* size) = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_STORYBOARD_PAINTER_H_
