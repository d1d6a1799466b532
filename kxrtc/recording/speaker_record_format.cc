#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc {

using kx_utility::ByteBufferReader;
using kx_utility::ByteBufferWriter;

std::string SpeakerRecordFilePath(const std::string& folder, const char* extension) {
  return folder + kSpeakerRecordFilePrefix + extension;
}

bool GetRecordPayloadSize(uint32_t type, uint32_t* payload_size) {
  switch (type) {
    case kStartRecording:
    case kStopRecording:
      *payload_size = 0;
      return true;
    case kNewChannel:
      *payload_size = kNewChannelRecordSize;
      return true;
    case kNewVideoAttributes:
      *payload_size = kNewVideoAttributesRecordSize;
      return true;
    case kVideoData:
    case kAudioData:
      *payload_size = kMediaDataRecordSize;
      return true;
    default:
      return false;
  }
}

bool ReadRecord(ByteBufferReader* reader, SpeakerRecordHeader* header) {
  uint64_t timestamp = 0;
  if (!reader->ReadUInt32(&header->type) || !reader->ReadUInt64(&timestamp)) return false;
  header->record_timestamp_us = static_cast<int64_t>(timestamp);
  return true;
}

bool ReadRecord(ByteBufferReader* reader, NewChannelRecord* record) {
  return reader->ReadUInt32(&record->media_type);
}

bool ReadRecord(ByteBufferReader* reader, NewVideoAttributesRecord* record) {
  uint32_t rotation_angle = 0;
  if (!reader->ReadUInt32(&rotation_angle) || !reader->ReadUInt32(&record->width) ||
      !reader->ReadUInt32(&record->height)) {
    return false;
  }
  record->rotation_angle = static_cast<int32_t>(rotation_angle);
  return true;
}

bool ReadRecord(ByteBufferReader* reader, MediaDataRecord* record) {
  return reader->ReadUInt64(&record->start_position) && reader->ReadUInt32(&record->size);
}

void WriteRecord(const SpeakerRecordHeader& header, ByteBufferWriter* writer) {
  writer->WriteUInt32(header.type);
  writer->WriteUInt64(static_cast<uint64_t>(header.record_timestamp_us));
}

void WriteRecord(const NewChannelRecord& record, ByteBufferWriter* writer) {
  writer->WriteUInt32(record.media_type);
}

void WriteRecord(const NewVideoAttributesRecord& record, ByteBufferWriter* writer) {
  writer->WriteUInt32(static_cast<uint32_t>(record.rotation_angle));
  writer->WriteUInt32(record.width);
  writer->WriteUInt32(record.height);
}

void WriteRecord(const MediaDataRecord& record, ByteBufferWriter* writer) {
  writer->WriteUInt64(record.start_position);
  writer->WriteUInt32(record.size);
}

}  // namespace kxrtc
