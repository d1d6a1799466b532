// Access units in, pictures out, each with the rotation that was in force when it was pushed.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_PICTURE_DECODER_H_
#define HOST_PICTURE_DECODER_H_

#include <cstdint>
#include <deque>

#include "host/ffmpeg_handles.h"

namespace kxrtc_host {

class PictureDecoder {
 public:
  // False: FFmpeg has no H.264 decoder here.
  [[nodiscard]] bool Open();

  // For the access units that follow. The decoder is not flushed: the rotation may change without
  // a key frame.
  void SetRotation(int32_t rotation) { rotation_ = rotation; }

  // Sends one access unit, null data at the end; then Receive() until it answers false. False: it
  // does not decode.
  [[nodiscard]] bool Send(int64_t time_us, const uint8_t* data, uint32_t size);

  // Stores the next picture; its pts is the time it was sent with. A picture that was concealed
  // rather than decoded is marked by FFmpeg. False: there is none yet, or no more.
  [[nodiscard]] bool Receive(AVFrame* picture, int32_t* rotation);

 private:
  struct RotationChange {
    int64_t time_us;
    int32_t rotation;
  };

  CodecContextHandle context_;
  PacketHandle packet_;
  int32_t rotation_ = 0;
  std::deque<RotationChange> rotations_;  // Those that pictures still to come may need.
};

}  // namespace kxrtc_host

#endif  // HOST_PICTURE_DECODER_H_
