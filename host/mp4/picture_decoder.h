// Decodes access units to pictures, each with the rotation set when it was pushed.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_MP4_PICTURE_DECODER_H_
#define HOST_MP4_PICTURE_DECODER_H_

#include <cstdint>
#include <deque>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/mp4/video_track.h"

namespace kxrtc_host {

class PictureDecoder {
 public:
  // False: this FFmpeg has no H.264 decoder.
  [[nodiscard]] bool Open();

  // For the access units that follow. The decoder is not flushed: the rotation may change without
  // a key frame.
  void SetRotation(int32_t rotation) { rotation_ = rotation; }

  // Sends one access unit, or null data at the end. Then call Receive() until it returns false.
  // False: it cannot be decoded.
  [[nodiscard]] bool Send(int64_t time_us, const uint8_t* data, uint32_t size);

  // Stores the next picture; its pts is the time it was sent with. FFmpeg marks a picture that was
  // concealed and not decoded. False: there is none yet, or no more.
  [[nodiscard]] bool Receive(AVFrame* picture, int32_t* rotation);

 private:
  CodecContextHandle context_;
  PacketHandle packet_;
  int32_t rotation_ = 0;
  std::deque<RotationChange> rotations_;  // Those that later pictures may need.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_PICTURE_DECODER_H_
