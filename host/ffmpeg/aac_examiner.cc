#include "host/ffmpeg/aac_examiner.h"

#include <algorithm>

#include "host/ffmpeg/ffmpeg_message_count.h"
#include "record/check/adts.h"
#include "record/check/silent_aac.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {

bool AacExaminer::Begin(uint32_t object_type, uint32_t channel_count) {
  config_ = AudioSpecificConfig(object_type, kAudioSampleRate, channel_count);
  silence_ = SilentAacFrame(channel_count);
  packet_.reset(av_packet_alloc());
  frame_.reset(av_frame_alloc());
  second_.reset(av_frame_alloc());
  silent_.reset(av_frame_alloc());
  usual_messages_ = -1;
  if (packet_ == nullptr || frame_ == nullptr || second_ == nullptr || silent_ == nullptr) {
    return false;
  }
  if (!Open()) return false;
  if (!Decode(silence_.data(), static_cast<uint32_t>(silence_.size()))) return false;
  av_frame_move_ref(silent_.get(), frame_.get());
  return Open();
}

bool AacExaminer::Open() {
  const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
  decoder_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  if (decoder_ == nullptr) return false;
  decoder_->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
  decoder_->thread_count = 1;  // The messages are counted in this thread.
  decoder_->log_level_offset = kCountedLevelOffset;
  const bool is_open =
      CopyExtradata(config_, decoder_.get()) && avcodec_open2(decoder_.get(), codec, nullptr) >= 0;
  if (!is_open) decoder_.reset();
  return is_open;
}

// After a damaged frame a new decoder stands where a player does that got silence instead.
bool AacExaminer::MakeReady() {
  return decoder_ != nullptr ||
         (Open() && Decode(silence_.data(), static_cast<uint32_t>(silence_.size())));
}

// True for one frame of the usual length and rate, in `frame_`.
bool AacExaminer::Decode(const uint8_t* data, uint32_t size) {
  av_packet_unref(packet_.get());
  if (av_new_packet(packet_.get(), static_cast<int>(size)) < 0) return false;
  std::copy(data, data + size, packet_->data);
  if (avcodec_send_packet(decoder_.get(), packet_.get()) < 0) return false;
  if (avcodec_receive_frame(decoder_.get(), frame_.get()) < 0) return false;
  if (frame_->sample_rate != kAudioSampleRate || frame_->nb_samples != kSamplesPerAudioFrame ||
      frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
    return false;
  }
  return avcodec_receive_frame(decoder_.get(), second_.get()) == AVERROR(EAGAIN);
}

bool AacExaminer::HasLayout() const {
  return av_channel_layout_compare(&frame_->ch_layout, &silent_->ch_layout) == 0;
}

bool AacExaminer::IsQuiet(uint64_t messages) {
  if (usual_messages_ < 0) usual_messages_ = static_cast<int64_t>(messages);
  return static_cast<int64_t>(messages) <= usual_messages_;
}

bool AacExaminer::Decodes(const uint8_t* data, uint32_t size) {
  if (size == 0 || size > kMaxAacFrameSize || !MakeReady()) return false;
  const uint64_t before = CountedFFmpegMessages();
  const bool decodes =
      Decode(data, size) && HasLayout() && IsQuiet(CountedFFmpegMessages() - before);
  if (!decodes) decoder_.reset();
  return decodes;
}

}  // namespace kxrtc_host
