// Small pictures of a record along its output time.
// Threads: any; blocks while it works.
#ifndef RECORD_SHOW_FILMSTRIP_H_
#define RECORD_SHOW_FILMSTRIP_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "record/predict/key_frame_choice.h"
#include "record/show/thumbnail_maker.h"

namespace kxrtc_host {

inline constexpr size_t kMaxFilmPictures = 60;

struct FilmPicture {
  int64_t output_us = 0;
  std::string jpeg;
};

// Reads these frames of the record in `folder`, and nothing else of it. Leaves out what cannot be
// read or decoded, and frames above kMaxFrameBytesRead.
std::vector<FilmPicture> MakeFilmstrip(const std::string& folder,
                                       const std::vector<KeyFramePlace>& frames,
                                       ThumbnailMaker* maker);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_FILMSTRIP_H_
