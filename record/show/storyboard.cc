#include "record/show/storyboard.h"

#include <algorithm>
#include <optional>

#include "kxrtc/recording/icon_frames.h"
#include "record/speakers/web_vtt.h"

namespace kxrtc_host {
namespace {

constexpr uint32_t kMaxPerSide = 10;
constexpr uint32_t kMaxSheetSide = 4096;

// So many of the first key frames are tried for the poster.
constexpr size_t kPosterTries = 50;

KeyFrame IconKeyFrame() {
  const kxrtc::IconFrame& icon = kxrtc::kIconFrames[0];
  KeyFrame frame;
  frame.access_unit.assign(icon.data, icon.data + icon.size);
  return frame;
}

class StoryboardRun {
 public:
  StoryboardRun(KeyFrameSource* source, StoryboardPainter* painter, const SheetLayout& layout,
                const IsWanted& is_wanted, const SheetSink& sink, Storyboard* storyboard)
      : source_(source),
        painter_(painter),
        layout_(layout),
        is_wanted_(is_wanted),
        sink_(sink),
        storyboard_(storyboard) {}

  bool Run(int64_t interval_us) {
    return LookForPoster() && DrawPictures(interval_us) && EndSheet() && MakePoster();
  }

 private:
  bool IsWantedStill() const { return !is_wanted_ || is_wanted_(); }

  // Decodes a key frame, which may become the poster.
  PictureKind Decode(size_t place) {
    if (!source_->Read(place, &frame_)) return PictureKind::kNone;
    const PictureKind kind = painter_->Decode(frame_);
    if (kind > storyboard_->poster.kind) {
      storyboard_->poster.kind = kind;
      poster_place_ = place;
    }
    return kind;
  }

  bool LookForPoster() {
    const size_t tries = std::min(kPosterTries, source_->times_us().size());
    for (size_t place = 0; place < tries; ++place) {
      if (!IsWantedStill()) return false;
      if (Decode(place) == PictureKind::kGood) break;
    }
    return true;
  }

  bool MakePoster() {
    Poster& poster = storyboard_->poster;
    if (poster.kind == PictureKind::kNone || !IsWantedStill()) return IsWantedStill();
    if (!source_->Read(poster_place_, &frame_)) return false;
    poster.time_us = frame_.time_us;
    poster.jpeg = painter_->MakePoster(frame_, &poster.size);
    return !poster.jpeg.empty();
  }

  bool DrawPictures(int64_t interval_us) {
    const std::vector<int64_t>& times_us = source_->times_us();
    const size_t count = CountPictures(source_->duration_us(), interval_us);
    // The last part may end after the video.
    const int64_t span_us = static_cast<int64_t>(count) * interval_us;
    const std::vector<size_t> chosen = SpreadOver(times_us, count, span_us);
    auto next = chosen.begin();
    for (size_t slice = 0; slice < count; ++slice) {
      if (!IsWantedStill()) return false;
      const int64_t start_us = SliceStart(slice, count, span_us);
      const int64_t end_us = SliceStart(slice + 1, count, span_us);
      if (next != chosen.end() && SliceOf(times_us[*next], count, span_us) == slice) {
        if (!ShowKeyFrame(*next++, start_us)) return false;
      } else if (source_->ShowsIcon(start_us + (end_us - start_us) / 2)) {
        if (!ShowIcon(start_us)) return false;
      } else if (!ShowLatest(start_us)) {
        return false;
      }
    }
    EndCues(source_->duration_us());
    return true;
  }

  // Of one that is damaged, the picture before is shown.
  bool ShowKeyFrame(size_t place, int64_t start_us) {
    shown_place_ = place;
    if (Decode(place) != PictureKind::kNone) return DrawTile(start_us);
    ++storyboard_->unreadable_pictures;
    return true;
  }

  // The key frame before `start_us` is still shown, which may not have been chosen itself.
  bool ShowLatest(int64_t start_us) {
    const std::vector<int64_t>& times_us = source_->times_us();
    const auto after = std::upper_bound(times_us.begin(), times_us.end(), start_us);
    if (after == times_us.begin()) return true;
    const auto place = static_cast<size_t>(after - times_us.begin()) - 1;
    return place == shown_place_ || ShowKeyFrame(place, start_us);
  }

  // Draws what was decoded last.
  bool DrawTile(int64_t start_us) {
    if (tiles_ == layout_.tiles() && !EndSheet()) return false;
    if (!painter_->DrawTile(layout_.x(tiles_), layout_.y(tiles_))) return false;
    storyboard_->cues.push_back({start_us, 0, storyboard_->sheets.size(), tiles_++});
    return true;
  }

  // The icon has one tile for all cues.
  bool ShowIcon(int64_t start_us) {
    if (!icon_) {
      if (painter_->Decode(IconKeyFrame()) == PictureKind::kNone || !DrawTile(start_us))
        return false;
      icon_ = storyboard_->cues.back();
      return true;
    }
    const StoryboardCue& last = storyboard_->cues.back();
    if (last.sheet == icon_->sheet && last.tile == icon_->tile) return true;
    storyboard_->cues.push_back({start_us, 0, icon_->sheet, icon_->tile});
    return true;
  }

  bool EndSheet() {
    if (tiles_ == 0) return true;
    const ImageSize size = layout_.SizeOf(tiles_);
    const std::string jpeg = painter_->TakeSheet(size);
    if (jpeg.empty() || !sink_(jpeg)) return false;
    storyboard_->sheets.push_back(size);
    tiles_ = 0;
    return true;
  }

  // Each is shown until the next.
  void EndCues(int64_t duration_us) {
    std::vector<StoryboardCue>& cues = storyboard_->cues;
    if (cues.empty()) return;
    cues.front().start_us = 0;
    for (size_t i = 0; i + 1 < cues.size(); ++i) cues[i].end_us = cues[i + 1].start_us;
    cues.back().end_us = duration_us;
  }

  KeyFrameSource* const source_;
  StoryboardPainter* const painter_;
  const SheetLayout& layout_;
  const IsWanted& is_wanted_;
  const SheetSink& sink_;
  Storyboard* const storyboard_;
  KeyFrame frame_;  // Reused.
  size_t poster_place_ = 0;
  size_t tiles_ = 0;                   // Of the current sheet.
  std::optional<size_t> shown_place_;  // Of the latest key frame, damaged ones included.
  std::optional<StoryboardCue> icon_;
};

}  // namespace

SheetLayout::SheetLayout(const ImageSize& tile)
    : tile_(tile),
      columns_(std::min(kMaxPerSide, kMaxSheetSide / tile.width)),
      rows_(std::min(kMaxPerSide, kMaxSheetSide / tile.height)) {}

ImageSize SheetLayout::SizeOf(size_t tiles) const {
  const uint32_t count = static_cast<uint32_t>(tiles);
  return {std::min(count, columns_) * tile_.width,
          (count + columns_ - 1) / columns_ * tile_.height};
}

size_t CountPictures(int64_t duration_us, int64_t interval_us) {
  return static_cast<size_t>((std::max<int64_t>(duration_us, 1) - 1) / interval_us + 1);
}

bool MakeStoryboard(KeyFrameSource* source, StoryboardPainter* painter, const SheetLayout& layout,
                    int64_t interval_us, const IsWanted& is_wanted, const SheetSink& sink,
                    Storyboard* storyboard) {
  return StoryboardRun(source, painter, layout, is_wanted, sink, storyboard).Run(interval_us);
}

std::string StoryboardWebVtt(const Storyboard& storyboard, const SheetLayout& layout,
                             const std::function<std::string(size_t)>& sheet_name) {
  std::string text = std::string(kWebVttSignature) + "\n";
  for (const StoryboardCue& cue : storyboard.cues) {
    if (!HasWebVttDuration(cue.start_us, cue.end_us)) continue;
    text += "\n" + WebVttCueTimes(cue.start_us, cue.end_us) + "\n" + sheet_name(cue.sheet) +
            "#xywh=" + std::to_string(layout.x(cue.tile)) + "," +
            std::to_string(layout.y(cue.tile)) + "," + std::to_string(layout.tile().width) + "," +
            std::to_string(layout.tile().height) + "\n";
  }
  return text;
}

}  // namespace kxrtc_host
