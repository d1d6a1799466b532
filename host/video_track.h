// The video of the record on its way into the file: copied or encoded anew.
#ifndef HOST_VIDEO_TRACK_H_
#define HOST_VIDEO_TRACK_H_

#include <cstdint>

namespace kxrtc_host {

// Threads: an object belongs to one thread at a time. On false the report tells why.
class VideoTrack {
 public:
  virtual ~VideoTrack() = default;

  // The samples that follow may belong to another stream; their pictures are to be turned clockwise
  // by `rotation` degrees. Their size is their own.
  virtual void SetAttributes(int32_t rotation) = 0;

  // One access unit to be shown from `time_us` of the file on.
  [[nodiscard]] virtual bool Push(int64_t time_us, const uint8_t* data, uint32_t size) = 0;

  // No sample that is shown before `time_us` will follow.
  [[nodiscard]] virtual bool AdvanceTo(int64_t time_us) = 0;

  // Lets the last picture last until `end_us`, or a little if it comes later than that. Adds what
  // a user should know to the report.
  [[nodiscard]] virtual bool Finish(int64_t end_us) = 0;

  // Where the video ends by now, microseconds of the file; 0 without any.
  virtual int64_t end_us() const = 0;
};

// `rotation` as 0, 90, 180 or 270. What is no multiple of 90 counts as the next lower one.
constexpr int32_t NormalRotation(int32_t rotation) {
  return ((rotation % 360 + 360) % 360) / 90 * 90;
}

}  // namespace kxrtc_host

#endif  // HOST_VIDEO_TRACK_H_
