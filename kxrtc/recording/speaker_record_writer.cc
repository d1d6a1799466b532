#include "kxrtc/recording/speaker_record_writer.h"

#include <utility>

#include "kx_utility/byte_buffer.h"
#include "kx_utility/failure_log.h"
#include "kxrtc/recording/peer_connection_conductor.h"

namespace kxrtc {
namespace {

using kx_utility::ByteBufferWriter;
using kx_utility::CallSite;
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

bool SpeakerRecordWriter::SwitchChannel(const VideoChannelInfo& info, SelectionReason reason,
                                        int64_t timestamp_us) {
  ByteBufferWriter payload;
  WriteRecord(NewChannelRecord{info.type}, &payload);
  if (!WriteToIndexFile({kNewChannel, timestamp_us}, Bytes(payload), payload.length())) {
    return FailedIn("WriteToIndexFile");
  }
  last_video_attributes_ = {};  // The first frame of the new channel gives its attributes again.
  current_channel_ = info;
  LogFormatted(LS_INFO, Here(), "new recording info: ssrc = %u, user_id = %u, type = %u", info.ssrc,
               info.user_id, info.type);
  desc_writer_.OnVideoSwitch(info.type == PeerConnectionConductor::kDesktop, timestamp_us);
  TellSelection(info, reason);
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
    TellAttributes(frame.attributes);
  }
  size_t position = 0;
  if (!video_file_.CurrentPosition(&position)) {
    return FailedAt(RecordFile::kVideo, frame.data.size(), "CurrentPosition for video file");
  }
  if (!WriteToFile(RecordFile::kVideo, frame.data.data(), frame.data.size())) {
    return FailedIn("WriteToFile");
  }
  if (!WriteDataRecord(RecordFile::kVideo, frame.timestamp_us, position, frame.data.size())) {
    return FailedIn("WriteToIndexFile");
  }
  desc_writer_.OnRecordVideoFrame(frame.timestamp_us);
  TellFrame(RecordFile::kVideo, position, frame.data.size());
  return true;
}

bool SpeakerRecordWriter::WriteAudioFrame(const RecvAudioFrame& frame) {
  size_t position = 0;
  if (!audio_file_.CurrentPosition(&position)) {
    return FailedAt(RecordFile::kAudio, frame.data.size(), "CurrentPosition for audio file");
  }
  if (!WriteToFile(RecordFile::kAudio, frame.data.data(), frame.data.size())) {
    return FailedIn("WriteToFile");
  }
  if (!WriteDataRecord(RecordFile::kAudio, frame.timestamp_us, position, frame.data.size())) {
    return FailedIn("WriteToIndexFile");
  }
  desc_writer_.OnRecordAudioFrame(frame.timestamp_us);
  TellFrame(RecordFile::kAudio, position, frame.data.size());
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

bool SpeakerRecordWriter::WriteDataRecord(RecordFile file, int64_t timestamp_us, uint64_t position,
                                          uint32_t size) {
  ByteBufferWriter payload;
  WriteRecord(MediaDataRecord{position, size}, &payload);
  const uint32_t type = file == RecordFile::kVideo ? kVideoData : kAudioData;
  return WriteToIndexFile({type, timestamp_us}, Bytes(payload), payload.length());
}

File* SpeakerRecordWriter::FileOf(RecordFile file) {
  switch (file) {
    case RecordFile::kVideo:
      return &video_file_;
    case RecordFile::kAudio:
      return &audio_file_;
    case RecordFile::kIndex:
      break;
  }
  return &index_file_;
}

bool SpeakerRecordWriter::WriteToFile(RecordFile file, const uint8_t* data, uint32_t size) {
  File* const target = FileOf(file);
  size_t start = 0;
  if (!target->CurrentPosition(&start)) return FailedAt(file, size, "CurrentPosition");
  const size_t written = target->Write(data, size);
  if (written == size) return true;
  LogFormatted(LS_WARNING, Here(), "failed in file->Write, wrote_size = %zutarget size = %u",
               written, size);
  return Undo(file, start, size, Here());
}

bool SpeakerRecordWriter::WriteToIndexFile(SpeakerRecordHeader header, const uint8_t* payload,
                                           uint32_t payload_size) {
  // Intended: one more than its own time, not than the previous record's. This separates equal
  // times and does not correct times that go back.
  if (last_index_timestamp_us_ >= header.record_timestamp_us) ++header.record_timestamp_us;
  ByteBufferWriter record;
  WriteRecord(header, &record);
  if (payload_size != 0) record.WriteBytes(reinterpret_cast<const char*>(payload), payload_size);
  size_t start = 0;
  if (!index_file_.CurrentPosition(&start)) {
    return FailedAt(RecordFile::kIndex, record.length(), "CurrentPosition");
  }
  const size_t written = index_file_.Write(Bytes(record), record.length());
  if (written == record.length()) {
    last_index_timestamp_us_ = header.record_timestamp_us;
    return true;
  }
  LogFormatted(LS_WARNING, Here(), "failed in index_file_.Write, wrote_size = %zutarget size = %u",
               written, record.length());
  return Undo(RecordFile::kIndex, start, record.length(), Here());
}

bool SpeakerRecordWriter::FailedAt(RecordFile file, uint32_t size, const char* step,
                                   CallSite site) {
  (void)FailedIn(step, site);
  TellFailure(file, size, false);
  return false;
}

bool SpeakerRecordWriter::Undo(RecordFile file, size_t start, uint32_t size, CallSite site) {
  // Intended: the index file's name for a data file, too.
  const bool undone = FileOf(file)->Seek(start) || FailedIn("index_file_.Seek", site);
  if (undone) on_short_write_();
  TellFailure(file, size, undone);
  return false;
}

void SpeakerRecordWriter::TellStarted() noexcept {
  if (listener_ != nullptr) listener_->OnRecordingStarted(last_index_timestamp_us_);
}

void SpeakerRecordWriter::TellStopped() noexcept {
  if (listener_ != nullptr) listener_->OnRecordingStopped(last_index_timestamp_us_);
}

void SpeakerRecordWriter::TellSelection(const VideoChannelInfo& info,
                                        SelectionReason reason) noexcept {
  if (listener_ == nullptr) return;
  listener_->OnChannelSelected(
      {last_index_timestamp_us_, info.ssrc, info.user_id, info.type, reason});
}

void SpeakerRecordWriter::TellAttributes(const VideoAttributes& attributes) noexcept {
  if (listener_ == nullptr) return;
  listener_->OnAttributesWritten(
      {last_index_timestamp_us_, attributes.rotation_angle, attributes.width, attributes.height});
}

void SpeakerRecordWriter::TellFrame(RecordFile file, uint64_t position, uint32_t size) noexcept {
  if (listener_ == nullptr) return;
  listener_->OnFrameWritten({last_index_timestamp_us_, position, size, file});
}

void SpeakerRecordWriter::TellFailure(RecordFile file, uint32_t size,
                                      bool stops_recording) noexcept {
  if (listener_ != nullptr) listener_->OnWriteFailed({size, file, stops_recording});
}

}  // namespace kxrtc
