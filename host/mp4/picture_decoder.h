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

  // Stores the next picture in display order. Its pts is the time for its place there: of the times
  // sent and not given to a picture yet, the first. FFmpeg marks a picture that was
  // concealed and not decoded. False: there is none yet, or no more.
  [[nodiscard]] bool Receive(AVFrame* picture, int32_t* rotation);

  // The next picture has this time or a later one; `time_us` if none waits.
  int64_t NextPictureUs(int64_t time_us) const;

 private:
  void PlaceInDisplayOrder(AVFrame* picture);

  CodecContextHandle context_;
  PacketHandle packet_;
  int32_t rotation_ = 0;
  std::deque<int64_t> times_;             // Sent, and not given to a picture yet.
  std::deque<RotationChange> rotations_;  // Those that later pictures may need.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_PICTURE_DECODER_H_
