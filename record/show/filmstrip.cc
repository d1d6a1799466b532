#include "record/show/filmstrip.h"

#include <utility>

#include "files/read_only_file.h"
#include "record/check/video_check.h"
#include "record/index/record_files.h"

namespace kxrtc_host {

std::vector<FilmPicture> MakeFilmstrip(const std::string& folder,
                                       const std::vector<KeyFramePlace>& frames,
                                       ThumbnailMaker* maker) {
  std::vector<FilmPicture> pictures;
  ReadOnlyFile video;
  video.Open(kxrtc::SpeakerRecordFilePath(RecordFolderPath(folder), kxrtc::kVideoFileExtension));
  if (!video.is_open()) return pictures;
  std::vector<uint8_t> bytes;
  for (const KeyFramePlace& frame : frames) {
    if (frame.data.size > kMaxFrameBytesRead) continue;
    bytes.resize(frame.data.size);
    if (video.Read(frame.data.start_position, bytes.data(), bytes.size()) != bytes.size()) continue;
    std::string jpeg = maker->Make(bytes.data(), frame.data.size, frame.rotation);
    if (!jpeg.empty()) pictures.push_back({frame.output_us, std::move(jpeg)});
  }
  return pictures;
}

}  // namespace kxrtc_host
