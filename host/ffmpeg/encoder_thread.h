// An encoder on its own thread, so that the next pictures are decoded at the same time.
#ifndef HOST_FFMPEG_ENCODER_THREAD_H_
#define HOST_FFMPEG_ENCODER_THREAD_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/ffmpeg/h264_encoder.h"
#include "host/ffmpeg/job_thread.h"

namespace kxrtc_host {

// The packets of a picture come back after a fixed number of further pictures, so that a file does
// not depend on thread timing. The end drops unfinished pictures.
// Threads: the object belongs to one thread at a time; the encoder to the thread inside.
class EncoderThread {
 public:
  static constexpr size_t kMaxPicturesUnderWay = 8;

  explicit EncoderThread(std::unique_ptr<H264Encoder> encoder);

  // Sends one picture, which is shared and must not be changed, and appends the packets of an
  // earlier one. A negative result is FFmpeg's error number.
  [[nodiscard]] int Send(const AVFrame& picture, std::vector<PacketHandle>* packets);

  // Ends the stream and appends all remaining packets. Call once, as the last call.
  [[nodiscard]] int Finish(std::vector<PacketHandle>* packets);

 private:
  struct Job {
    FrameHandle picture;  // Null: the end.
    std::vector<PacketHandle> packets;
    int result = 0;
  };

  void Encode(Job* job);
  void Queue(FrameHandle picture);
  int TakeFirst(std::vector<PacketHandle>* packets);

  const std::unique_ptr<H264Encoder> encoder_;
  JobThread<Job> thread_;  // Last: it uses the rest.
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_ENCODER_THREAD_H_
