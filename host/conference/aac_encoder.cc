#include "host/conference/aac_encoder.h"

#include <algorithm>

#include "host/conference/audio_format.h"
#include "record/check/adts.h"

namespace kxrtc_host {

// Drains the encoder, which otherwise logs a complaint.
AacEncoder::~AacEncoder() {
  if (encoder_ == nullptr || !avcodec_is_open(encoder_.get())) return;
  if (avcodec_send_frame(encoder_.get(), nullptr) < 0) return;
  while (avcodec_receive_packet(encoder_.get(), packet_.get()) >= 0) {
    av_packet_unref(packet_.get());
  }
}

bool AacEncoder::Open(int bit_rate, std::string* error) {
  const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (codec == nullptr) {
    *error = "there is no AAC encoder";
    return false;
  }
  encoder_.reset(avcodec_alloc_context3(codec));
  frame_.reset(av_frame_alloc());
  packet_.reset(av_packet_alloc());
  if (encoder_ == nullptr || frame_ == nullptr || packet_ == nullptr) {
    *error = "out of memory";
    return false;
  }
  encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder_->sample_rate = kAudioSampleRate;
  encoder_->time_base = AVRational{1, kAudioSampleRate};
  encoder_->bit_rate = bit_rate;
  encoder_->profile = FF_PROFILE_AAC_LOW;
  av_channel_layout_default(&encoder_->ch_layout, kAudioChannels);
  const int opened = avcodec_open2(encoder_.get(), codec, nullptr);
  if (opened < 0) {
    *error = "the AAC encoder does not open: " + FFmpegErrorText(opened);
    return false;
  }
  if (encoder_->frame_size != static_cast<int>(kAudioBlockSamples)) {
    *error = "the AAC encoder has another frame size";
    return false;
  }
  frame_->format = AV_SAMPLE_FMT_FLTP;
  frame_->sample_rate = kAudioSampleRate;
  frame_->nb_samples = static_cast<int>(kAudioBlockSamples);
  av_channel_layout_default(&frame_->ch_layout, kAudioChannels);
  const int allocated = av_frame_get_buffer(frame_.get(), 0);
  if (allocated < 0) *error = FFmpegErrorText(allocated);
  return allocated >= 0;
}

int64_t AacEncoder::lookahead_samples() const {
  return encoder_->initial_padding + encoder_->frame_size;
}

bool AacEncoder::Encode(const float* block, const FrameHandler& handler) {
  if (av_frame_make_writable(frame_.get()) < 0) return false;
  for (int channel = 0; channel < kAudioChannels; ++channel) {
    auto* const plane = reinterpret_cast<float*>(frame_->data[channel]);
    for (size_t i = 0; i < kAudioBlockSamples; ++i) plane[i] = block[i * kAudioChannels + channel];
  }
  frame_->pts = next_pts_;
  next_pts_ += static_cast<int64_t>(kAudioBlockSamples);
  if (avcodec_send_frame(encoder_.get(), frame_.get()) < 0) return false;
  for (;;) {
    const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (received == AVERROR(EAGAIN)) return true;
    if (received < 0) return false;
    const auto size = static_cast<size_t>(packet_->size);
    framed_.clear();
    AppendAdtsHeader(kAacLowComplexity, kAudioSampleRate, kAudioChannels, size, &framed_);
    framed_.insert(framed_.end(), packet_->data, packet_->data + size);
    av_packet_unref(packet_.get());
    handler(framed_.data(), framed_.size());
  }
}

}  // namespace kxrtc_host
