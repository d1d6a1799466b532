#include "host/ffmpeg/encoder_thread.h"

#include <iterator>
#include <utility>

namespace kxrtc_host {

EncoderThread::EncoderThread(std::unique_ptr<H264Encoder> encoder)
    : encoder_(std::move(encoder)), thread_([this](Job* job) { Encode(job); }) {}

void EncoderThread::Encode(Job* job) {
  job->result = encoder_->Send(job->picture.get());
  if (job->result < 0) return;
  for (;;) {
    PacketHandle packet(av_packet_alloc());
    if (packet == nullptr || !encoder_->Receive(packet.get())) return;
    job->packets.push_back(std::move(packet));
  }
}

void EncoderThread::Queue(FrameHandle picture) {
  auto job = std::make_unique<Job>();
  job->picture = std::move(picture);
  thread_.Queue(std::move(job));
}

int EncoderThread::TakeFirst(std::vector<PacketHandle>* packets) {
  const std::unique_ptr<Job> job = thread_.TakeFirst();
  packets->insert(packets->end(), std::make_move_iterator(job->packets.begin()),
                  std::make_move_iterator(job->packets.end()));
  return job->result;
}

int EncoderThread::Send(const AVFrame& picture, std::vector<PacketHandle>* packets) {
  FrameHandle shared(av_frame_clone(&picture));
  if (shared == nullptr) return AVERROR(ENOMEM);
  Queue(std::move(shared));
  return thread_.size() > kMaxPicturesUnderWay ? TakeFirst(packets) : 0;
}

int EncoderThread::Finish(std::vector<PacketHandle>* packets) {
  Queue(nullptr);
  int result = 0;
  while (thread_.size() != 0 && result >= 0) result = TakeFirst(packets);
  return result;
}

}  // namespace kxrtc_host
