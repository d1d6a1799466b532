#include "host/conference/audio_decoder.h"

#include "host/conference/audio_format.h"

namespace kxrtc_host {
namespace {

constexpr int kMaxSamplesAtOnce = 1 << 20;

}  // namespace

bool AudioDecoder::Open(const AVStream& stream, std::string* error) {
  const AVCodec* const codec = avcodec_find_decoder(stream.codecpar->codec_id);
  if (codec == nullptr) {
    *error = std::string("there is no decoder for ") + avcodec_get_name(stream.codecpar->codec_id) +
             " sound";
    return false;
  }
  decoder_.reset(avcodec_alloc_context3(codec));
  frame_.reset(av_frame_alloc());
  resampler_.reset();
  next_time_us_ = 0;
  if (decoder_ == nullptr || frame_ == nullptr) {
    *error = "out of memory";
    return false;
  }
  int result = avcodec_parameters_to_context(decoder_.get(), stream.codecpar);
  decoder_->pkt_timebase = AVRational{1, AV_TIME_BASE};
  if (result >= 0) result = avcodec_open2(decoder_.get(), codec, nullptr);
  if (result < 0) *error = "the sound cannot be decoded: " + FFmpegErrorText(result);
  return result >= 0;
}

bool AudioDecoder::FollowFormat(const AVFrame& frame) {
  if (resampler_ != nullptr && frame.format == in_format_ && frame.sample_rate == in_rate_ &&
      frame.ch_layout.nb_channels == in_channels_) {
    return true;
  }
  AVChannelLayout in = {};
  if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&in, frame.ch_layout.nb_channels);
  } else if (av_channel_layout_copy(&in, &frame.ch_layout) < 0) {
    return false;
  }
  AVChannelLayout out = {};
  av_channel_layout_default(&out, kAudioChannels);
  SwrContext* context = nullptr;
  const int made =
      swr_alloc_set_opts2(&context, &out, AV_SAMPLE_FMT_FLT, kAudioSampleRate, &in,
                          static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  av_channel_layout_uninit(&in);
  resampler_.reset(context);
  if (made < 0 || swr_init(context) < 0) {
    resampler_.reset();
    return false;
  }
  in_format_ = frame.format;
  in_rate_ = frame.sample_rate;
  in_channels_ = frame.ch_layout.nb_channels;
  return true;
}

bool AudioDecoder::Resample(const AVFrame& frame, const Handler& handler) {
  if (frame.nb_samples <= 0 || frame.sample_rate <= 0 || frame.ch_layout.nb_channels <= 0) {
    return false;
  }
  if (!FollowFormat(frame)) return false;
  // The resampler still has the end of the previous frame.
  const int64_t held_us = swr_get_delay(resampler_.get(), AV_TIME_BASE);
  const int64_t start_us =
      (frame.pts != AV_NOPTS_VALUE ? frame.pts : next_time_us_ + held_us) - held_us;
  const int room = swr_get_out_samples(resampler_.get(), frame.nb_samples);
  if (room < 0 || room > kMaxSamplesAtOnce) return false;
  samples_.resize(static_cast<size_t>(room) * kAudioChannels);
  auto* out = reinterpret_cast<uint8_t*>(samples_.data());
  const int samples =
      swr_convert(resampler_.get(), &out, room, const_cast<const uint8_t**>(frame.extended_data),
                  frame.nb_samples);
  if (samples < 0) return false;
  if (samples > 0) handler(start_us, samples_.data(), static_cast<size_t>(samples));
  next_time_us_ = start_us + TimeOfSample(samples);
  return true;
}

bool AudioDecoder::Decode(const AVPacket& packet, const Handler& handler) {
  bool whole = avcodec_send_packet(decoder_.get(), &packet) >= 0;
  for (;;) {
    const int received = avcodec_receive_frame(decoder_.get(), frame_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return whole;
    if (received < 0) return false;
    whole = Resample(*frame_, handler) && whole;
    av_frame_unref(frame_.get());
  }
}

}  // namespace kxrtc_host
