// How a host hands the encoded video of a conference to the recorder.
#ifndef KXRTC_RECORDING_VIDEO_FRAME_RELAY_H_
#define KXRTC_RECORDING_VIDEO_FRAME_RELAY_H_

#include <cstdint>

#include "kx_utility/export.h"

namespace kxrtc {

// EncodedImage::frame_type of a picture that decoding can begin with. Other values are the host's.
inline constexpr int32_t kVideoFrameTypeKey = 3;

// One encoded picture, filled by the host. The order of the fields is binary interface; the fields
// named host_... are the host's own and never read.
struct EncodedImage {
  uint32_t encoded_width = 0;  // Pixels, before rotation.
  uint32_t encoded_height = 0;
  int64_t host_time = 0;
  int32_t frame_type = 0;
  const uint8_t* data = nullptr;  // One access unit: Annex B, start codes included.
  uint32_t host_capacity = 0;
  uint32_t length = 0;  // Bytes at `data`.
  int32_t host_quality = 0;
  uint32_t rotation = 0;  // Degrees by which the picture is turned clockwise to stand upright.
};

// Takes encoded pictures. No exception leaves the library's implementation. Slot order is binary
// interface: append only.
class KX_EXPORT VideoFrameRelayCallback {
 public:
  virtual ~VideoFrameRelayCallback() = default;

  // One picture of the channel `ssrc`. Borrowed: `image` and its payload are valid during the call
  // only. Called on any host thread, several at a time; the pictures of one channel come in order.
  // Channels have an ssrc other than 0: pictures of ssrc 0 are accepted and never recorded.
  virtual bool OnEncodedFrame(const EncodedImage* image, uint32_t ssrc) = 0;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_VIDEO_FRAME_RELAY_H_
