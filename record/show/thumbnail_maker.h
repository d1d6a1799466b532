// What makes small pictures of key frames. The host implements it, since it needs a decoder.
#ifndef RECORD_SHOW_THUMBNAIL_MAKER_H_
#define RECORD_SHOW_THUMBNAIL_MAKER_H_

#include <cstdint>
#include <string>

namespace kxrtc_host {

// The largest picture that is made, in pixels.
inline constexpr uint32_t kThumbnailWidth = 160;
inline constexpr uint32_t kThumbnailHeight = 120;

// Threads: an object belongs to one thread at a time.
class ThumbnailMaker {
 public:
  virtual ~ThumbnailMaker() = default;

  // A JPEG file of the key frame: `size` bytes of an access unit with its parameter sets, turned
  // clockwise by `rotation` degrees. Empty if it cannot be decoded without damage.
  virtual std::string Make(const uint8_t* data, uint32_t size, int32_t rotation) = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_THUMBNAIL_MAKER_H_
