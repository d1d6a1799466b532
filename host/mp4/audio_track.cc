#include "host/mp4/audio_track.h"

#include <algorithm>
#include <string>
#include <vector>

#include "record/check/adts.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {

AudioTrack::AudioTrack(uint32_t channel_count, Mp4Muxer* muxer, WriterReport* report)
    : muxer_(muxer), report_(report), channel_count_(channel_count) {}

int64_t AudioTrack::end_us() const {
  return last_time_ < 0 ? 0 : AudioSamplesToMicroseconds(last_time_ + kSamplesPerAudioFrame);
}

bool AudioTrack::Describe(uint32_t object_type, uint32_t sample_rate, uint32_t channel_count) {
  const std::string obstacle = AudioObstacle(object_type, sample_rate, channel_count);
  if (!obstacle.empty()) return report_->Fail(WriterFailure::kAudio, obstacle);
  info_.audio_specific_config = AudioSpecificConfig(object_type, sample_rate, channel_count);
  info_.channel_count = channel_count;
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
  decoder_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  if (decoder_ != nullptr) {
    // Without a decoder AAC cannot be recognised, so the format of the record is trusted.
    if (!CopyExtradata(info_.audio_specific_config, decoder_.get()) ||
        avcodec_open2(decoder_.get(), codec, nullptr) < 0) {
      decoder_.reset();
    }
  }
  return true;
}

bool AudioTrack::BeginAdts(const AdtsHeader& header) {
  const uint32_t channels = header.channel_configuration == 0
                                ? channel_count_
                                : ChannelCount(header.channel_configuration);
  if (channels != channel_count_) {
    report_->Warn("the audio has " + std::to_string(channels) + " channels, not " +
                  std::to_string(channel_count_) +
                  " as the record says; the MP4 uses the count of the audio");
  }
  framing_ = Framing::kAdts;
  adts_channels_ = header.channel_configuration;
  if (!Describe(header.object_type, header.sample_rate, channels)) return false;
  muxer_->DescribeAudio(info_);
  return true;
}

void AudioTrack::BeginRaw() {
  framing_ = Framing::kRaw;
  muxer_->DescribeAudio(info_);
}

bool AudioTrack::LooksLikeAac(const uint8_t* data, uint32_t size) {
  PacketHandle packet(av_packet_alloc());
  FrameHandle frame(av_frame_alloc());
  if (packet == nullptr || frame == nullptr ||
      av_new_packet(packet.get(), static_cast<int>(size)) < 0) {
    return true;
  }
  std::copy(data, data + size, packet->data);
  return avcodec_send_packet(decoder_.get(), packet.get()) >= 0 &&
         avcodec_receive_frame(decoder_.get(), frame.get()) >= 0 &&
         frame->sample_rate == kAudioSampleRate && frame->nb_samples == kSamplesPerAudioFrame;
}

// True if a raw frame is AAC. Used until the first such frame.
bool AudioTrack::Recognise(const uint8_t* data, uint32_t size) {
  if (decoder_ == nullptr) return true;
  if (LooksLikeAac(data, size)) {
    decoder_.reset();
    return true;
  }
  ++unrecognised_;
  return false;
}

bool AudioTrack::Drop() {
  ++report_->status.audio_frames_dropped;
  return true;
}

bool AudioTrack::Push(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  ++report_->status.audio_frames_received;
  if (size == 0) return Drop();
  AdtsHeader header;
  const bool is_adts = ParseAdtsHeader(data, size, &header);
  if (framing_ == Framing::kUnknown && is_adts && !BeginAdts(header)) return false;
  if (framing_ == Framing::kUnknown && decoder_ == nullptr &&
      !Describe(kAacLowComplexity, kAudioSampleRate, channel_count_)) {
    return false;
  }
  const bool is_unlike_first =
      framing_ == Framing::kAdts
          ? !is_adts || header.raw_data_blocks != 1 || header.sample_rate != kAudioSampleRate ||
                header.channel_configuration != adts_channels_ || header.header_size == size
          : is_adts;
  if (is_unlike_first) return Drop();
  if (is_adts) {
    data += header.header_size;
    size -= header.header_size;
  }
  const bool is_recognised = Recognise(data, size);
  if (!is_recognised && unrecognised_ == kFramesToRecognise) {
    return report_->Fail(WriterFailure::kAudio, kNotAacText);
  }
  if (framing_ == Framing::kUnknown) {
    if (!is_recognised) return Drop();
    BeginRaw();
  }
  return Write(timestamp_us, data, size);
}

bool AudioTrack::Write(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  Mp4Sample sample;
  sample.decode_time = report_->Raised(ExactAudioSamples(timestamp_us), last_time_);
  sample.presentation_time = sample.decode_time;
  sample.duration = kSamplesPerAudioFrame;
  sample.is_key = true;
  sample.data = data;
  sample.size = size;
  last_time_ = sample.decode_time;
  return muxer_->WriteAudio(sample);
}

void AudioTrack::Finish() {
  const uint64_t dropped = report_->status.audio_frames_dropped;
  if (dropped != 0) {
    report_->Warn(std::to_string(dropped) +
                  " audio frames are empty, or framed differently from the first frame; the MP4 "
                  "does not contain them");
  }
  if (report_->status.audio_frames_received == 0) report_->Warn("the record contains no audio");
}

}  // namespace kxrtc_host
