// The video track of the file: copied or encoded again.
#ifndef HOST_MP4_VIDEO_TRACK_H_
#define HOST_MP4_VIDEO_TRACK_H_

#include <cstdint>

namespace kxrtc_host {

// Threads: an object belongs to one thread at a time. On false the report says why.
class VideoTrack {
 public:
  virtual ~VideoTrack() = default;

  // The next samples may belong to another stream. Their pictures must be turned clockwise by
  // `rotation` degrees. They define their own size.
  virtual void SetAttributes(int32_t rotation) = 0;

  // Adds one access unit, shown from `time_us` of the file on.
  [[nodiscard]] virtual bool Push(int64_t time_us, const uint8_t* data, uint32_t size) = 0;

  // No later sample is shown before `time_us`.
  [[nodiscard]] virtual bool AdvanceTo(int64_t time_us) = 0;

  // Shows the last picture until `end_us`, or for a short time if it is later than that. Adds
  // warnings for the user to the report.
  [[nodiscard]] virtual bool Finish(int64_t end_us) = 0;

  // The current end of the video, microseconds of the file; 0 without video.
  virtual int64_t end_us() const = 0;
};

// From `time_us` on, pictures must be turned clockwise by `rotation` degrees.
struct RotationChange {
  int64_t time_us;
  int32_t rotation;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_VIDEO_TRACK_H_
