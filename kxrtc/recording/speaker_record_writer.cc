#include "kxrtc/recording/speaker_record_writer.h"

#include <utility>

#include "kx_utility/byte_buffer.h"
#include "kx_utility/failure_log.h"
#include "kxrtc/recording/peer_connection_conductor.h"

namespace kxrtc {
namespace {

using kx_utility::ByteBufferWriter;
using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::File;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LS_INFO;
using kx_utility::LS_WARNING;

const uint8_t* Bytes(const ByteBufferWriter& writer) {
  return reinterpret_cast<const uint8_t*>(writer.data());
}

}  // namespace

SpeakerRecordWriter::SpeakerRecordWriter(std::function<void()> on_short_write)
    : on_short_write_(std::move(on_short_write)) {}

bool SpeakerRecordWriter::CreateRecordFile(const std::string& path) {
  video_file_ = File::Create(SpeakerRecordFilePath(path, kVideoFileExtension));
  if (!video_file_.IsOpen()) return Failed("failed to open video file");
  audio_file_ = File::Create(SpeakerRecordFilePath(path, kAudioFileExtension));
  if (!audio_file_.IsOpen()) return Failed("failed to open audio file");
  index_file_ = File::Create(SpeakerRecordFilePath(path, kIndexFileExtension));
  if (!index_file_.IsOpen()) return Failed("failed to open index file");
  return true;
}

bool SpeakerRecordWriter::CreateDescriptor(const std::string& path) {
  return desc_writer_.Initialize(SpeakerRecordFilePath(path, kDescriptorFileExtension));
}

void SpeakerRecordWriter::Finalize() {
  for (File* file : {&video_file_, &audio_file_, &index_file_}) {
    (void)file->Close();  // False for one that is not open, too.
  }
  ForgetChannel();
  last_index_timestamp_us_ = 0;
  desc_writer_.Finalize();
}

void SpeakerRecordWriter::SetAudioFormat(uint32_t channels, uint32_t unused1, uint32_t unused2) {
  desc_writer_.SetAudioFormat(channels, unused1, unused2);
}

void SpeakerRecordWriter::ForgetChannel() {
  current_channel_ = {};
  last_video_attributes_ = {};
}

bool SpeakerRecordWriter::WriteStartStreamingRecord(int64_t timestamp_us) {
  if (!WriteToIndexFile({kStartRecording, timestamp_us}, nullptr, 0)) {
    return FailedIn("WriteToIndexFile");
  }
  desc_writer_.OnRecordStart(timestamp_us);
  return true;
}

bool SpeakerRecordWriter::WriteStopStreamingRecord(int64_t timestamp_us) {
  if (!WriteToIndexFile({kStopRecording, timestamp_us}, nullptr, 0)) {
    return FailedIn("WriteToIndexFile");
  }
  desc_writer_.OnRecordStop(timestamp_us);
  return true;
}

bool SpeakerRecordWriter::SwitchChannel(const VideoChannelInfo& info, int64_t timestamp_us) {
  ByteBufferWriter payload;
  WriteRecord(NewChannelRecord{info.type}, &payload);
  if (!WriteToIndexFile({kNewChannel, timestamp_us}, Bytes(payload), payload.length())) {
    return FailedIn("WriteToIndexFile");
  }
  last_video_attributes_ = {};  // The new channel's first frame tells its attributes afresh.
  current_channel_ = info;
  LogFormatted(LS_INFO, Here(), "new recording info: ssrc = %u, user_id = %u, type = %u", info.ssrc,
               info.user_id, info.type);
  desc_writer_.OnVideoSwitch(info.type == PeerConnectionConductor::kDesktop, timestamp_us);
  return true;
}

bool SpeakerRecordWriter::WriteVideoFrame(const RecvEncodedVideoFrame& frame) {
  if (!(frame.attributes == last_video_attributes_)) {
    if (!WriteNewVideoAttributesRecord(frame)) return FailedIn("WriteNewVideoAttributesRecord");
    last_video_attributes_ = frame.attributes;
    LogFormatted(LS_INFO, Here(),
                 "last_video_attributes changed, frame.rotation_angle = %u, frame.width = %u, "
                 "frame.height = %u",
                 frame.attributes.rotation_angle, frame.attributes.width, frame.attributes.height);
  }
  size_t position = 0;
  if (!video_file_.CurrentPosition(&position)) return FailedIn("CurrentPosition for video file");
  if (!WriteToFile(&video_file_, frame.data.data(), frame.data.size())) {
    return FailedIn("WriteToFile");
  }
  if (!WriteDataRecord(kVideoData, frame.timestamp_us, position, frame.data.size())) {
    return FailedIn("WriteToIndexFile");
  }
  desc_writer_.OnRecordVideoFrame(frame.timestamp_us);
  return true;
}

bool SpeakerRecordWriter::WriteAudioFrame(const RecvAudioFrame& frame) {
  size_t position = 0;
  if (!audio_file_.CurrentPosition(&position)) return FailedIn("CurrentPosition for audio file");
  if (!WriteToFile(&audio_file_, frame.data.data(), frame.data.size())) {
    return FailedIn("WriteToFile");
  }
  if (!WriteDataRecord(kAudioData, frame.timestamp_us, position, frame.data.size())) {
    return FailedIn("WriteToIndexFile");
  }
  desc_writer_.OnRecordAudioFrame(frame.timestamp_us);
  return true;
}

bool SpeakerRecordWriter::WriteNewVideoAttributesRecord(const RecvEncodedVideoFrame& frame) {
  NewVideoAttributesRecord record;
  record.rotation_angle = static_cast<int32_t>(frame.attributes.rotation_angle);
  record.width = frame.attributes.width;
  record.height = frame.attributes.height;
  ByteBufferWriter payload;
  WriteRecord(record, &payload);
  if (!WriteToIndexFile({kNewVideoAttributes, frame.timestamp_us}, Bytes(payload),
                        payload.length())) {
    return FailedIn("WriteToIndexFile");
  }
  return true;
}

bool SpeakerRecordWriter::WriteDataRecord(uint32_t type, int64_t timestamp_us, uint64_t position,
                                          uint32_t size) {
  ByteBufferWriter payload;
  WriteRecord(MediaDataRecord{position, size}, &payload);
  return WriteToIndexFile({type, timestamp_us}, Bytes(payload), payload.length());
}

bool SpeakerRecordWriter::WriteToFile(File* file, const uint8_t* data, uint32_t size) {
  size_t start = 0;
  if (!file->CurrentPosition(&start)) return FailedIn("CurrentPosition");
  const size_t written = file->Write(data, size);
  if (written == size) return true;
  LogFormatted(LS_WARNING, Here(), "failed in file->Write, wrote_size = %zutarget size = %u",
               written, size);
  // Intended: the index file's name for a data file, too.
  if (!file->Seek(start)) return FailedIn("index_file_.Seek");
  on_short_write_();
  return false;
}

bool SpeakerRecordWriter::WriteToIndexFile(SpeakerRecordHeader header, const uint8_t* payload,
                                           uint32_t payload_size) {
  // Intended: one more than its own time, not than the former record's. It tells equal times apart
  // and does not straighten times that go back.
  if (last_index_timestamp_us_ >= header.record_timestamp_us) ++header.record_timestamp_us;
  ByteBufferWriter record;
  WriteRecord(header, &record);
  if (payload_size != 0) record.WriteBytes(reinterpret_cast<const char*>(payload), payload_size);
  size_t start = 0;
  if (!index_file_.CurrentPosition(&start)) return FailedIn("CurrentPosition");
  const size_t written = index_file_.Write(Bytes(record), record.length());
  if (written == record.length()) {
    last_index_timestamp_us_ = header.record_timestamp_us;
    return true;
  }
  LogFormatted(LS_WARNING, Here(), "failed in index_file_.Write, wrote_size = %zutarget size = %u",
               written, record.length());
  if (!index_file_.Seek(start)) return FailedIn("index_file_.Seek");
  on_short_write_();
  return false;
}

}  // namespace kxrtc
