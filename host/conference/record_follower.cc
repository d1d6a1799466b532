#include "host/conference/record_follower.h"

#include "kx_utility/byte_buffer.h"
#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {

using kxrtc::kMediaDataRecordSize;
using kxrtc::kSpeakerRecordHeaderSize;

bool RecordFollower::Open(const std::string& folder) {
  counts_ = RecordCounts();
  index_ = kx_utility::File::Open(kxrtc::SpeakerRecordFilePath(folder, kxrtc::kIndexFileExtension));
  return index_.IsOpen();
}

RecordFollower::Step RecordFollower::FollowOne() {
  uint8_t bytes[kSpeakerRecordHeaderSize + kMediaDataRecordSize] = {};
  const size_t held = index_.ReadAt(bytes, sizeof(bytes), counts_.index_bytes);
  kx_utility::ByteBufferReader reader(reinterpret_cast<const char*>(bytes),
                                      static_cast<uint32_t>(held));
  kxrtc::SpeakerRecordHeader header;
  if (!kxrtc::ReadRecord(&reader, &header)) return Step::kNothingNew;
  uint32_t payload_size = 0;
  if (!kxrtc::GetRecordPayloadSize(header.type, &payload_size)) return Step::kBroken;
  if (reader.remaining() < payload_size) return Step::kNothingNew;
  kxrtc::MediaDataRecord media;
  switch (header.type) {
    case kxrtc::kStartRecording:
      ++counts_.sessions;
      counts_.session_open = true;
      break;
    case kxrtc::kStopRecording:
      counts_.session_open = false;
      break;
    case kxrtc::kNewChannel:
      ++counts_.switches;
      break;
    case kxrtc::kVideoData:
      if (!kxrtc::ReadRecord(&reader, &media)) return Step::kBroken;
      ++counts_.video_frames;
      counts_.video_bytes += media.size;
      break;
    case kxrtc::kAudioData:
      if (!kxrtc::ReadRecord(&reader, &media)) return Step::kBroken;
      ++counts_.audio_frames;
      counts_.audio_bytes += media.size;
      break;
    default:
      break;
  }
  counts_.index_bytes += kSpeakerRecordHeaderSize + payload_size;
  return Step::kRecord;
}

bool RecordFollower::Follow() {
  for (;;) {
    switch (FollowOne()) {
      case Step::kRecord:
        continue;
      case Step::kNothingNew:
        return true;
      case Step::kBroken:
        return false;
    }
  }
}

}  // namespace kxrtc_host
