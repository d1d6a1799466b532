// A poster and a storyboard of a video: small pictures on sheets, and when each is shown.
// Threads: any; blocks while it works.
#ifndef RECORD_SHOW_STORYBOARD_H_
#define RECORD_SHOW_STORYBOARD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "files/is_wanted.h"
#include "record/predict/key_frame_choice.h"
#include "record/show/key_frame_source.h"
#include "record/show/storyboard_painter.h"

namespace kxrtc_host {

// Of more pictures, a KeyFrameChoice would not have one for each slice.
inline constexpr size_t kMaxStoryboardPictures = KeyFrameChoice::kMaxKept / 2;

// How the tiles lie on a sheet: at most ten rows of ten, and no side above 4096 pixels, which is
// what every browser can show.
class SheetLayout {
 public:
  // The sides are even, from 2 to 4096.
  explicit SheetLayout(const ImageSize& tile);

  const ImageSize& tile() const { return tile_; }
  size_t tiles() const { return size_t{columns_} * rows_; }  // Of a whole sheet.
  uint32_t x(size_t tile) const { return static_cast<uint32_t>(tile % columns_) * tile_.width; }
  uint32_t y(size_t tile) const { return static_cast<uint32_t>(tile / columns_) * tile_.height; }
  ImageSize SizeOf(size_t tiles) const;  // Of a sheet with so many tiles, at least one.

 private:
  ImageSize tile_;
  uint32_t columns_;
  uint32_t rows_;
};

struct StoryboardCue {
  int64_t start_us = 0;  // Of the MP4.
  int64_t end_us = 0;
  size_t sheet = 0;
  size_t tile = 0;  // Of the sheet.
};

struct Poster {
  PictureKind kind = PictureKind::kNone;
  std::string jpeg;  // Empty: no key frame can be decoded.
  ImageSize size;
  int64_t time_us = 0;
};

struct Storyboard {
  Poster poster;
  std::vector<StoryboardCue> cues;  // Without gaps, from 0 to the end.
  std::vector<ImageSize> sheets;    // Their sizes.
  size_t unreadable_pictures = 0;   // Key frames that should have been shown.
};

// Takes each sheet, a JPEG file; false ends the work.
using SheetSink = std::function<bool(const std::string& jpeg)>;

// How many pictures a storyboard has at most.
size_t CountPictures(int64_t duration_us, int64_t interval_us);

// A picture for each `interval_us` of the video, which is above 0. False: somebody did not want it,
// the sink failed, or out of memory; `*storyboard` is not complete then.
[[nodiscard]] bool MakeStoryboard(KeyFrameSource* source, StoryboardPainter* painter,
                                  const SheetLayout& layout, int64_t interval_us,
                                  const IsWanted& is_wanted, const SheetSink& sink,
                                  Storyboard* storyboard);

// Cues with the name of a sheet and the place of the tile in it, "#xywh=", as players of web pages
// read them. `sheet_name` gives the name of a sheet by its number from 0 on.
std::string StoryboardWebVtt(const Storyboard& storyboard, const SheetLayout& layout,
                             const std::function<std::string(size_t)>& sheet_name);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_STORYBOARD_H_
