#include "record/show/filmstrip.h"

#include <utility>

#include "record/show/record_key_frames.h"

namespace kxrtc_host {

std::vector<FilmPicture> MakeFilmstrip(const std::string& folder,
                                       const std::vector<KeyFramePlace>& frames,
                                       ThumbnailMaker* maker) {
  std::vector<FilmPicture> pictures;
  ReadOnlyFile video;
  OpenRecordedVideo(folder, &video);
  std::vector<uint8_t> bytes;
  for (const KeyFramePlace& frame : frames) {
    if (!ReadKeyFrame(video, frame, &bytes)) continue;
    std::string jpeg = maker->Make(bytes.data(), frame.data.size, frame.rotation);
    if (!jpeg.empty()) pictures.push_back({frame.output_us, std::move(jpeg)});
  }
  return pictures;
}

}  // namespace kxrtc_host
