#include "host/mp4/picture_decoder.h"

#include <algorithm>

namespace kxrtc_host {

bool PictureDecoder::Open() {
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_H264);
  context_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  packet_.reset(av_packet_alloc());
  if (context_ == nullptr || packet_ == nullptr) return false;
  context_->flags |= AV_CODEC_FLAG_LOW_DELAY;
  // Frame threads would delay pictures.
  context_->thread_type = FF_THREAD_SLICE;
  context_->thread_count = 0;
  return avcodec_open2(context_.get(), codec, nullptr) >= 0;
}

bool PictureDecoder::Send(int64_t time_us, const uint8_t* data, uint32_t size) {
  if (data == nullptr) return avcodec_send_packet(context_.get(), nullptr) >= 0;
  if (rotations_.empty() || rotations_.back().rotation != rotation_) {
    rotations_.push_back({time_us, rotation_});
  }
  if (size == 0 || size > INT32_MAX - AV_INPUT_BUFFER_PADDING_SIZE ||
      av_new_packet(packet_.get(), static_cast<int>(size)) < 0) {
    return false;
  }
  std::copy(data, data + size, packet_->data);
  packet_->pts = time_us;
  packet_->dts = time_us;
  const int result = avcodec_send_packet(context_.get(), packet_.get());
  av_packet_unref(packet_.get());
  if (result >= 0) times_.push_back(time_us);
  return result >= 0;
}

// A picture comes with the time it was sent with. Not every access unit gives a picture: where all
// earlier ones have been shown, the times before this one belong to none.
void PictureDecoder::PlaceInDisplayOrder(AVFrame* picture) {
  const bool is_behind_all = context_->has_b_frames == 0 || picture->key_frame != 0;
  while (!times_.empty() && is_behind_all && times_.front() < picture->pts) times_.pop_front();
  if (times_.empty()) return;
  picture->pts = times_.front();
  times_.pop_front();
}

bool PictureDecoder::Receive(AVFrame* picture, int32_t* rotation) {
  if (avcodec_receive_frame(context_.get(), picture) < 0) return false;
  PlaceInDisplayOrder(picture);
  while (rotations_.size() > 1 && rotations_[1].time_us <= picture->pts) rotations_.pop_front();
  *rotation = rotations_.empty() ? 0 : rotations_.front().rotation;
  return true;
}

int64_t PictureDecoder::NextPictureUs(int64_t time_us) const {
  return context_->has_b_frames == 0 || times_.empty() ? time_us
                                                       : std::min(times_.front(), time_us);
}

}  // namespace kxrtc_host
