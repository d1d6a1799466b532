#include "host/record/audio_check.h"

#include "host/record/text.h"

namespace kxrtc_host {

bool ReadAdtsHeader(const uint8_t* bytes, AudioFormat* format, uint32_t* frame_bytes) {
  constexpr uint32_t kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                       22050, 16000, 12000, 11025, 8000,  7350};
  constexpr uint32_t kRateCount = sizeof(kSampleRates) / sizeof(kSampleRates[0]);
  // syncword of 12 ones, ID, layer 00.
  if (bytes[0] != 0xFF || (bytes[1] & 0xF6) != 0xF0) return false;
  const uint32_t rate_index = (bytes[2] >> 2) & 0x0F;
  if (rate_index >= kRateCount) return false;
  format->is_adts = true;
  format->object_type = (bytes[2] >> 6) + 1u;
  format->sample_rate = kSampleRates[rate_index];
  format->channels = ((bytes[2] & 1u) << 2) | (bytes[3] >> 6);
  *frame_bytes = ((bytes[3] & 3u) << 11) | (uint32_t{bytes[4]} << 3) | (bytes[5] >> 5);
  return *frame_bytes >= kAdtsHeaderSize;
}

void AudioCheck::OnFrame(const IndexRecord& record) {
  const int64_t time_us = record.header.record_timestamp_us;
  AudioFormat format;
  uint32_t frame_bytes = 0;
  bool is_adts = false;
  if (record.data.size >= kAdtsHeaderSize) {
    const uint8_t* bytes = file_->View(record.data.start_position, kAdtsHeaderSize);
    if (bytes == nullptr) {
      summary_->findings.Add(FindingCode::kFileChanged, time_us,
                             "the file .aac became shorter while it was read");
      return;
    }
    is_adts = ReadAdtsHeader(bytes, &format, &frame_bytes);
  }
  if (is_first_) {
    is_first_ = false;
    if (is_adts) summary_->audio = format;
    if (!is_adts) {
      summary_->findings.Add(FindingCode::kAudioNotAdts, time_us,
                             "the audio frames carry no ADTS header, so their format is unknown");
    } else if (format.sample_rate != kExpectedSampleRate) {
      summary_->findings.Add(FindingCode::kAudioSampleRate, time_us,
                             Text("the audio has %u Hz; the transcoder takes each frame for 21333 "
                                  "us, which is right for %u Hz only",
                                  format.sample_rate, kExpectedSampleRate));
    }
  }
  if (summary_->audio.is_adts && (!is_adts || frame_bytes != record.data.size)) {
    summary_->findings.Add(FindingCode::kAudioFrameLength, time_us,
                           Text("the frame at %llu of .aac has %u bytes, its ADTS header says %u",
                                static_cast<unsigned long long>(record.data.start_position),
                                record.data.size, frame_bytes));
  }
}

}  // namespace kxrtc_host
