#include "host/ffmpeg/jpeg_thumbnail_maker.h"

#include "host/ffmpeg/jpeg_picture.h"
#include "host/ffmpeg/picture_layout.h"
#include "record/timing/rotation.h"

namespace kxrtc_host {

std::string JpegThumbnailMaker::Make(const uint8_t* data, uint32_t size, int32_t rotation) {
  const FrameHandle picture = DecodeKeyFrame(data, size, Deblocking::kOff);
  const FrameHandle canvas(av_frame_alloc());
  if (picture == nullptr || canvas == nullptr) return "";
  const int32_t turn = NormalRotation(rotation);
  // Without black bars around the picture.
  const PictureRect place =
      FitIntoCanvas(kThumbnailWidth, kThumbnailHeight, UprightRatio(*picture, turn));
  PictureLayout layout(place.width, place.height);
  if (!layout.Draw(*picture, turn, canvas.get())) return "";
  return EncodeJpeg(*canvas, place.width, place.height);
}

}  // namespace kxrtc_host
