// Makes JPEG thumbnails of H.264 key frames.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_JPEG_THUMBNAIL_MAKER_H_
#define HOST_FFMPEG_JPEG_THUMBNAIL_MAKER_H_

#include "record/show/thumbnail_maker.h"

namespace kxrtc_host {

class JpegThumbnailMaker final : public ThumbnailMaker {
 public:
  std::string Make(const uint8_t* data, uint32_t size, int32_t rotation) override;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_JPEG_THUMBNAIL_MAKER_H_
