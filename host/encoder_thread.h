// An encoder on a thread of its own, so that the next pictures are decoded meanwhile.
#ifndef HOST_ENCODER_THREAD_H_
#define HOST_ENCODER_THREAD_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "host/ffmpeg_handles.h"
#include "host/h264_encoder.h"

namespace kxrtc_host {

// Packets come back in a fixed rhythm, those of one picture when a fixed number of pictures follow
// it, so that a file does not depend on which thread is faster.
// Threads: the object belongs to one thread at a time; the encoder to the thread inside.
class EncoderThread {
 public:
  static constexpr size_t kMaxPicturesUnderWay = 8;

  explicit EncoderThread(std::unique_ptr<H264Encoder> encoder);
  ~EncoderThread();  // Drops what is under way.
  EncoderThread(const EncoderThread&) = delete;
  EncoderThread& operator=(const EncoderThread&) = delete;

  // Hands over one picture, which is shared and must not be drawn on, and appends the packets of an
  // earlier one. A negative result is FFmpeg's error number.
  [[nodiscard]] int Send(const AVFrame& picture, std::vector<PacketHandle>* packets);

  // Ends the stream and appends all packets that are left. Once, as the last call.
  [[nodiscard]] int Finish(std::vector<PacketHandle>* packets);

 private:
  struct Job {
    FrameHandle picture;  // Null: the end.
    std::vector<PacketHandle> packets;
    int result = 0;
    bool done = false;
  };

  void Run();
  void Encode(Job* job);
  void Queue(FrameHandle picture);
  int TakeFirst(std::vector<PacketHandle>* packets);

  const std::unique_ptr<H264Encoder> encoder_;
  std::mutex lock_;  // Guards what follows.
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Job>> jobs_;  // In the order of their pictures.
  size_t next_job_ = 0;                    // The first that is not begun.
  bool stop_ = false;
  std::thread thread_;  // Last: it uses the rest.
};

}  // namespace kxrtc_host

#endif  // HOST_ENCODER_THREAD_H_
