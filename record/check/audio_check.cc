#include "record/check/audio_check.h"

#include <cinttypes>

#include "record/check/read_failure.h"
#include "record/index/record_text.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {

AudioCheck::Head AudioCheck::ReadHead(const IndexRecord& record, AdtsHeader* header) {
  if (record.data.size < kAdtsHeaderSize) return Head::kRaw;
  const uint8_t* bytes = file_->View(record.data.start_position, kAdtsHeaderSize);
  if (bytes == nullptr) return Head::kUnreadable;
  if (!ReadAdtsHeader(bytes, header)) return Head::kRaw;
  return header->frame_size == record.data.size ? Head::kAdts : Head::kOtherLength;
}

void AudioCheck::SettleAdts(int64_t time_us, const AdtsHeader& header) {
  AudioFormat& format = summary_->audio;
  first_ = header;
  format.is_known = true;
  format.is_adts = true;
  format.object_type = header.object_type;
  format.sample_rate = header.sample_rate;
  format.channels = ChannelCount(header.channel_configuration);
  if (format.sample_rate != kAudioSampleRate) {
    summary_->findings.Add(FindingCode::kAudioSampleRate, time_us,
                           Text("the audio has %u Hz; the transcoder counts 21333 us for each "
                                "frame, which is correct for %" PRId64 " Hz only",
                                format.sample_rate, kAudioSampleRate));
  }
}

void AudioCheck::SettleRaw() {
  summary_->audio.is_known = true;
  summary_->audio.object_type = kAacLowComplexity;  // As the MP4 writer sees it.
  summary_->findings.Add(FindingCode::kAudioNotAdts, undecided_.front().header.record_timestamp_us,
                         "the audio frames have no ADTS header, so it is unknown whether they are "
                         "AAC at 48000 Hz");
}

// The MP4 writer finds the first frame that decides the framing in the same way.
void AudioCheck::OnFrame(const IndexRecord& record) {
  if (record.data.size == 0) return;  // A finding of its own.
  if (summary_->audio.is_known) return Judge(record);
  undecided_.push_back(record);
  AdtsHeader header;
  if (ReadHead(record, &header) == Head::kAdts) {
    SettleAdts(record.header.record_timestamp_us, header);
  } else if (undecided_.size() < kFramesToRecognise) {
    return;
  } else {
    SettleRaw();
  }
  for (const IndexRecord& earlier : undecided_) Judge(earlier);
}

void AudioCheck::Finish() {
  if (summary_->audio.is_known || undecided_.empty()) return;
  SettleRaw();
  for (const IndexRecord& record : undecided_) Judge(record);
}

void AudioCheck::Judge(const IndexRecord& record) {
  const int64_t time_us = record.header.record_timestamp_us;
  const uint64_t position = record.data.start_position;
  FindingList& findings = summary_->findings;
  AdtsHeader header;
  const Head head = ReadHead(record, &header);
  if (head == Head::kUnreadable) {
    ReportReadFailure(*file_, "the file .aac", time_us, &findings);
  } else if (head == Head::kOtherLength) {
    findings.Add(FindingCode::kAudioFrameLength, time_us,
                 Text("the frame at %" PRIu64 " of .aac has %s, its ADTS header says %u", position,
                      CountText(record.data.size, "byte").c_str(), header.frame_size));
  } else if (head == Head::kRaw && summary_->audio.is_adts) {
    findings.Add(FindingCode::kAudioLeftOut, time_us,
                 Text("the frame of %s at %" PRIu64
                      " of .aac has no ADTS header, unlike others: the MP4 does not contain it",
                      CountText(record.data.size, "byte").c_str(), position));
  } else if (head == Head::kAdts && !summary_->audio.is_adts) {
    findings.Add(FindingCode::kAudioLeftOut, time_us,
                 Text("the frame of %s at %" PRIu64
                      " of .aac has an ADTS header, unlike the first: the MP4 does not contain it",
                      CountText(record.data.size, "byte").c_str(), position));
  } else if (head == Head::kAdts &&
             (header.raw_data_blocks != 1 || header.sample_rate != first_.sample_rate ||
              header.channel_configuration != first_.channel_configuration)) {
    findings.Add(
        FindingCode::kAudioLeftOut, time_us,
        Text("the frame at %" PRIu64 " of .aac has %u Hz, channel configuration %u and %s: "
             "unlike the first, or not 1 block; the MP4 does not contain it",
             position, header.sample_rate, header.channel_configuration,
             CountText(header.raw_data_blocks, "raw data block").c_str()));
  }
}

uint32_t RecordedChannels(const RecordSummary& summary) {
  const uint32_t channels = summary.audio.channels;
  return channels != 0 ? channels : summary.descriptor.audio_channel_count.value_or(1);
}

std::string AudioRefusal(const RecordSummary& summary) {
  const AudioFormat& audio = summary.audio;
  if (!audio.is_known) return "";
  return AudioObstacle(audio.object_type, audio.is_adts ? audio.sample_rate : kAudioSampleRate,
                       RecordedChannels(summary));
}

}  // namespace kxrtc_host
