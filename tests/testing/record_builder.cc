#include "tests/testing/record_builder.h"

namespace kx_testing {

using std::to_string;

std::string KeyFrame() { return std::string("\0\0\0\1\x65key", 8); }
std::string DeltaFrame() {
  return std::string(
      "\0\0\0\1\x41\xE0"  // Of the picture parameter set 0.
      "elta",
      10);
}

std::string BigEndian32(uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::string BigEndian64(uint64_t value) {
  return BigEndian32(static_cast<uint32_t>(value >> 32)) +
         BigEndian32(static_cast<uint32_t>(value));
}

RecordBuilder& RecordBuilder::Header(uint32_t type, int64_t timestamp_us) {
  session_end_us_ = timestamp_us;
  return RawIndex(BigEndian32(type) + BigEndian64(static_cast<uint64_t>(timestamp_us)));
}

RecordBuilder& RecordBuilder::Start(int64_t timestamp_us) {
  ++session_count_;
  session_start_us_ = timestamp_us;
  session_video_frames_ = session_audio_frames_ = session_switches_ = 0;
  return Header(kStartRecord, timestamp_us);
}

RecordBuilder& RecordBuilder::Stop(int64_t timestamp_us) {
  Header(kStopRecord, timestamp_us);
  if (!sessions_.empty()) sessions_ += ",";
  sessions_ += "{\"sessoin_start_timestamp_us\":" + to_string(session_start_us_) +
               ",\"sessoin_end_timestamp_us\":" + to_string(session_end_us_) +
               ",\"session_video_frame_count\":" + to_string(session_video_frames_) +
               ",\"session_audio_frame_count\":" + to_string(session_audio_frames_) +
               ",\"session_video_switch_count\":" + to_string(session_switches_) + "}";
  return *this;
}

RecordBuilder& RecordBuilder::Channel(int64_t timestamp_us, uint32_t media_type) {
  ++session_switches_;
  if (media_type == kDesktop) contain_desktop_ = true;
  return Header(kChannelRecord, timestamp_us).RawIndex(BigEndian32(media_type));
}

RecordBuilder& RecordBuilder::Attributes(int64_t timestamp_us, uint32_t width, uint32_t height,
                                         int32_t rotation) {
  return Header(kAttributesRecord, timestamp_us)
      .RawIndex(BigEndian32(static_cast<uint32_t>(rotation)) + BigEndian32(width) +
                BigEndian32(height));
}

RecordBuilder& RecordBuilder::Video(int64_t timestamp_us, const std::string& frame) {
  ++session_video_frames_;
  contain_video_ = true;
  DataRecord(kVideoRecord, timestamp_us, video_.size(), static_cast<uint32_t>(frame.size()));
  return RawVideo(frame);
}

RecordBuilder& RecordBuilder::Audio(int64_t timestamp_us, const std::string& frame) {
  ++session_audio_frames_;
  DataRecord(kAudioRecord, timestamp_us, audio_.size(), static_cast<uint32_t>(frame.size()));
  return RawAudio(frame);
}

RecordBuilder& RecordBuilder::RawIndex(const std::string& bytes) {
  index_ += bytes;
  return *this;
}

RecordBuilder& RecordBuilder::DataRecord(uint32_t type, int64_t timestamp_us,
                                         uint64_t start_position, uint32_t size) {
  return Header(type, timestamp_us).RawIndex(BigEndian64(start_position) + BigEndian32(size));
}

RecordBuilder& RecordBuilder::RawVideo(const std::string& bytes) {
  video_ += bytes;
  return *this;
}

RecordBuilder& RecordBuilder::RawAudio(const std::string& bytes) {
  audio_ += bytes;
  return *this;
}

std::string RecordBuilder::Descriptor() const {
  return "{\"speaker_record_overall\":{\"record_session_count\":" + to_string(session_count_) +
         ",\"contain_video\":" + to_string(contain_video_ ? 1 : 0) +
         ",\"contain_desktop\":" + to_string(contain_desktop_ ? 1 : 0) +
         ",\"audio_channel_count\":" + to_string(audio_channels_) +
         "},\"speaker_record_session\":[" + sessions_ + "]}\n";
}

void RecordBuilder::Write() const {
  WriteFile(folder_ + "SpeakeRecord.index", index_);
  WriteFile(folder_ + "SpeakeRecord.264", video_);
  WriteFile(folder_ + "SpeakeRecord.aac", audio_);
  WriteFile(folder_ + "SpeakeRecord.desc", Descriptor());
}

}  // namespace kx_testing
