// The video of a file that has sound only.
#ifndef HOST_MP4_NO_VIDEO_TRACK_H_
#define HOST_MP4_NO_VIDEO_TRACK_H_

#include <cstdint>

#include "host/mp4/video_track.h"

namespace kxrtc_host {

class NoVideoTrack final : public VideoTrack {
 public:
  void SetAttributes(int32_t /*rotation*/) override {}
  [[nodiscard]] bool Push(int64_t /*time_us*/, const uint8_t* /*data*/,
                          uint32_t /*size*/) override {
    return true;
  }
  [[nodiscard]] bool AdvanceTo(int64_t /*time_us*/) override { return true; }
  [[nodiscard]] bool Finish(int64_t /*end_us*/) override { return true; }
  int64_t end_us() const override { return 0; }
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_NO_VIDEO_TRACK_H_
