// Encoded frames on their way from a host's thread to the files of a speaker record.
#ifndef KXRTC_RECORDING_RECORDED_FRAME_H_
#define KXRTC_RECORDING_RECORDED_FRAME_H_

#include <cstdint>

#include "kx_utility/raw_buffer.h"

namespace kxrtc {

// How pictures are shown; they are preceded by an attributes record when any of these changes.
struct VideoAttributes {
  uint32_t rotation_angle = 0;  // Degrees clockwise.
  uint32_t width = 0;           // Pixels.
  uint32_t height = 0;
};

inline bool operator==(const VideoAttributes& a, const VideoAttributes& b) {
  return a.rotation_angle == b.rotation_angle && a.width == b.width && a.height == b.height;
}

// The bytes of a frame. They can be copied, because the queue's callables ask for it; on their way
// to the files they are only moved.
class FramePayload : public kx_utility::RawBuffer {
 public:
  FramePayload() = default;
  FramePayload(FramePayload&&) noexcept = default;
  FramePayload& operator=(FramePayload&&) noexcept = default;
  FramePayload(const FramePayload& other) : RawBuffer() {
    (void)SetData(other.data(), other.size());  // Cannot fail on an empty buffer.
  }
  FramePayload& operator=(const FramePayload&) = delete;
  ~FramePayload() = default;
};

struct RecvEncodedVideoFrame {
  uint32_t ssrc = 0;
  int64_t timestamp_us = 0;  // Recorder time of its arrival.
  int32_t frame_type = 0;    // kVideoFrameTypeKey or another value of the host.
  VideoAttributes attributes;
  FramePayload data;  // One access unit.
};

struct RecvAudioFrame {
  int64_t timestamp_us = 0;  // Recorder time of its arrival.
  FramePayload data;         // One encoded frame.
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_RECORDED_FRAME_H_
