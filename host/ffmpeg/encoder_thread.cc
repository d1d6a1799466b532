#include "host/ffmpeg/encoder_thread.h"

#include <iterator>
#include <utility>

namespace kxrtc_host {

EncoderThread::EncoderThread(std::unique_ptr<H264Encoder> encoder)
    : encoder_(std::move(encoder)), thread_([this] { Run(); }) {}

EncoderThread::~EncoderThread() {
  {
    const std::lock_guard<std::mutex> guard(lock_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void EncoderThread::Run() {
  std::unique_lock<std::mutex> guard(lock_);
  for (;;) {
    changed_.wait(guard, [this] { return stop_ || next_job_ < jobs_.size(); });
    if (stop_) return;
    Job* const job = jobs_[next_job_++].get();  // Does not move until it is done.
    guard.unlock();
    Encode(job);
    guard.lock();
    job->done = true;
    changed_.notify_all();
  }
}

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
  {
    const std::lock_guard<std::mutex> guard(lock_);
    jobs_.push_back(std::move(job));
  }
  changed_.notify_all();
}

int EncoderThread::TakeFirst(std::vector<PacketHandle>* packets) {
  std::unique_lock<std::mutex> guard(lock_);
  changed_.wait(guard, [this] { return jobs_.front()->done; });
  const std::unique_ptr<Job> job = std::move(jobs_.front());
  jobs_.pop_front();
  --next_job_;
  packets->insert(packets->end(), std::make_move_iterator(job->packets.begin()),
                  std::make_move_iterator(job->packets.end()));
  return job->result;
}

int EncoderThread::Send(const AVFrame& picture, std::vector<PacketHandle>* packets) {
  FrameHandle shared(av_frame_clone(&picture));
  if (shared == nullptr) return AVERROR(ENOMEM);
  Queue(std::move(shared));
  // Only this thread adds and removes jobs, so it may read their number.
  return jobs_.size() > kMaxPicturesUnderWay ? TakeFirst(packets) : 0;
}

int EncoderThread::Finish(std::vector<PacketHandle>* packets) {
  Queue(nullptr);
  int result = 0;
  while (!jobs_.empty() && result >= 0) result = TakeFirst(packets);
  return result;
}

}  // namespace kxrtc_host
