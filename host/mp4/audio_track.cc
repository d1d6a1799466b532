#include "host/mp4/audio_track.h"

#include <optional>
#include <string>
#include <utility>

#include "record/check/silent_aac.h"
#include "record/index/record_text.h"
#include "record/timing/media_time.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {

AudioTrack::AudioTrack(uint32_t channel_count, bool examines, const KeptParts* parts,
                       Mp4Muxer* muxer, WriterReport* report)
    : muxer_(muxer),
      report_(report),
      channel_count_(channel_count),
      examines_(examines),
      kept_(parts) {
  report_->status.sound_examined = examines_;
}

int64_t AudioTrack::whole_end_us() const {
  return last_time_ < 0 ? 0 : AudioSamplesToMicroseconds(last_time_ + kSamplesPerAudioFrame);
}

bool AudioTrack::Describe(uint32_t object_type, uint32_t channel_count) {
  AudioTrackInfo info;
  info.audio_specific_config = AudioSpecificConfig(object_type, kAudioSampleRate, channel_count);
  info.channel_count = channel_count;
  muxer_->DescribeAudio(info);
  is_settled_ = true;
  silence_ = SilentAacFrame(channel_count);
  if (!examines_) return true;
  report_->status.sound_examined = examiner_.Begin(object_type, channel_count);
  if (report_->status.sound_examined) {
    thread_ = std::make_unique<JobThread<Frame>>([this](Frame* frame) {
      frame->decodes =
          examiner_.Decodes(frame->bytes.data(), static_cast<uint32_t>(frame->bytes.size()));
    });
  }
  return true;
}

bool AudioTrack::SettleAdts(const AdtsHeader& header) {
  const uint32_t channels = header.channel_configuration == 0
                                ? channel_count_
                                : ChannelCount(header.channel_configuration);
  const std::string obstacle = AudioObstacle(header.object_type, header.sample_rate, channels);
  if (channels != channel_count_) {
    report_->Warn("the audio has " + CountText(channels, "channel") + ", not " +
                  std::to_string(channel_count_) +
                  " as the record says; the MP4 uses the count of the audio");
  }
  if (!obstacle.empty()) return report_->Fail(WriterFailure::kAudio, obstacle);
  framing_.is_adts = true;
  framing_.channels = ChannelCount(header.channel_configuration);
  return Describe(header.object_type, channels);
}

// Without a decoder AAC cannot be recognised, so the format of the record is trusted.
bool AudioTrack::SettleRaw(const uint8_t* data, uint32_t size) {
  const std::string obstacle = AudioObstacle(kAacLowComplexity, kAudioSampleRate, channel_count_);
  if (!obstacle.empty()) return report_->Fail(WriterFailure::kAudio, obstacle);
  if (!recogniser_.Begin(kAacLowComplexity, channel_count_) || recogniser_.Decodes(data, size)) {
    return Describe(kAacLowComplexity, channel_count_);
  }
  if (++unrecognised_ < kFramesToRecognise) return Drop();
  return report_->Fail(WriterFailure::kAudio, kNotAacText);
}

// Looks whether this frame decides the framing of all. False: the report says why.
bool AudioTrack::Settle(const uint8_t* data, uint32_t size) {
  AdtsHeader header;
  return ParseAdtsHeader(data, size, &header) ? SettleAdts(header) : SettleRaw(data, size);
}

bool AudioTrack::Drop() {
  ++report_->status.audio_frames_dropped;
  return true;
}

bool AudioTrack::Push(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  ++report_->status.audio_frames_received;
  if (size == 0) return Drop();
  if (!is_settled_ && !Settle(data, size)) return false;
  if (!is_settled_) return true;
  const std::optional<uint32_t> header_size = HeaderSizeOfAlike(framing_, data, size);
  if (!header_size) return Drop();
  data += *header_size;
  size -= *header_size;
  last_time_ = report_->Raised(ExactAudioSamples(timestamp_us), last_time_);
  const std::optional<KeptSound::Place> place = kept_.Next(last_time_);
  if (!place) return true;
  return thread_ == nullptr ? Write(*place, data, size) : Examine(*place, data, size);
}

bool AudioTrack::Examine(const KeptSound::Place& place, const uint8_t* data, uint32_t size) {
  auto frame = std::make_unique<Frame>();
  frame->place = place;
  if (size <= kMaxAacFrameSize) frame->bytes.assign(data, data + size);
  thread_->Queue(std::move(frame));
  return thread_->size() <= kFramesUnderWay || WriteExamined();
}

bool AudioTrack::WriteExamined() {
  const std::unique_ptr<Frame> frame = thread_->TakeFirst();
  if (!frame->decodes) {
    frame->bytes = silence_;
    if (report_->status.audio_frames_silenced++ == 0) {
      first_silenced_us_ = AudioSamplesToMicroseconds(frame->place.time);
    }
  }
  return Write(frame->place, frame->bytes.data(), static_cast<uint32_t>(frame->bytes.size()));
}

bool AudioTrack::Write(KeptSound::Place place, const uint8_t* data, uint32_t size) {
  for (; place.silent_frames > 0; --place.silent_frames) {
    if (!WriteFrame(place.time - place.silent_frames * kSamplesPerAudioFrame, kSamplesPerAudioFrame,
                    silence_.data(), static_cast<uint32_t>(silence_.size()))) {
      return false;
    }
  }
  return WriteFrame(place.time, place.duration, data, size);
}

bool AudioTrack::WriteFrame(int64_t time, int64_t duration, const uint8_t* data, uint32_t size) {
  Mp4Sample sample;
  sample.decode_time = time;
  sample.presentation_time = time;
  sample.duration = duration;
  sample.is_key = true;
  sample.data = data;
  sample.size = size;
  end_us_ = AudioSamplesToMicroseconds(time + duration);
  return muxer_->WriteAudio(sample);
}

bool AudioTrack::Flush() {
  while (thread_ != nullptr && thread_->size() != 0) {
    if (!WriteExamined()) return false;
  }
  return true;
}

void AudioTrack::Finish() {
  const Mp4WriterStatus& status = report_->status;
  if (status.audio_frames_dropped != 0) {
    const uint64_t dropped = status.audio_frames_dropped;
    report_->Warn(CountText(dropped, "audio frame") + ByCount(dropped, " is", " are") +
                  " empty, or framed differently from the first frame; the MP4 does not contain " +
                  ByCount(dropped, "it", "them"));
  }
  if (status.audio_frames_silenced != 0) {
    report_->Warn(std::to_string(status.audio_frames_silenced) + " of " +
                  CountText(status.audio_frames_received, "audio frame") +
                  " cannot be decoded, the first at " + ClockText(first_silenced_us_, 3) +
                  "; the MP4 is silent there");
  }
}

}  // namespace kxrtc_host
