#include "host/record_outline.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <utility>

#include "host/shared/media_time.h"
#include "kx_utility/byte_buffer.h"
#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {
namespace {

using kx_utility::ByteBufferReader;

constexpr uint32_t kMaxPayload = 12;
// The replay inserts the clip of eight pictures when video stays away for half a second.
constexpr uint64_t kFillerPictures = 8;
constexpr int64_t kFillerDistanceUs = 500000;
constexpr int64_t kMaxRecordedUs = 1000000000000000;  // 30 years.
// What the transcoder asks a writer for at most.
constexpr uint64_t kSilenceCountedUs = 3600 * kMicrosecondsPerSecond;
constexpr uint64_t kFrameRate = 24;
constexpr uint64_t kMaxVideoBytesPerSecond = 1200 * 1000 / 8;

bool GetFileSize(const std::string& path, uint64_t* size) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  *size = static_cast<uint64_t>(info.st_size);
  return true;
}

// Walks an index by the rules that the replay follows.
class IndexReader {
 public:
  IndexReader(std::ifstream index, uint64_t video_size, uint64_t audio_size)
      : index_(std::move(index)), video_size_(video_size), audio_size_(audio_size) {}

  void Read(RecordOutline* outline) {
    while (!ended_) ReadOne(outline);
    NoteSpan(outline);
  }

 private:
  void End(RecordOutline* outline, RecordEnd end) {
    outline->end = end;
    ended_ = true;
  }

  void ReadOne(RecordOutline* outline) {
    uint8_t bytes[kxrtc::kSpeakerRecordHeaderSize + kMaxPayload];
    index_.read(reinterpret_cast<char*>(bytes), kxrtc::kSpeakerRecordHeaderSize);
    if (index_.gcount() == 0) {
      const bool complete = !in_session_ && outline->sessions > 0;
      return End(outline, complete ? RecordEnd::kComplete : RecordEnd::kCutShort);
    }
    if (!index_) return End(outline, RecordEnd::kCutShort);
    ByteBufferReader header_reader(reinterpret_cast<char*>(bytes), kxrtc::kSpeakerRecordHeaderSize);
    kxrtc::SpeakerRecordHeader header;
    uint32_t payload_size = 0;
    if (!kxrtc::ReadRecord(&header_reader, &header) ||
        !kxrtc::GetRecordPayloadSize(header.type, &payload_size) ||
        in_session_ == (header.type == kxrtc::kStartRecording)) {
      return End(outline, RecordEnd::kDamaged);
    }
    index_.read(reinterpret_cast<char*>(bytes), payload_size);
    if (!index_) return End(outline, RecordEnd::kCutShort);
    ByteBufferReader payload(reinterpret_cast<char*>(bytes), payload_size);
    NoteTime(header, outline);
    Note(header.type, &payload, outline);
  }

  // Times are whatever stands in the file.
  void NoteSpan(RecordOutline* outline) const {
    if (session_start_us_ < 0 || last_us_ < session_start_us_) return;
    outline->recorded_us =
        std::min(kMaxRecordedUs,
                 outline->recorded_us + std::min(kMaxRecordedUs, last_us_ - session_start_us_));
  }

  void NoteTime(const kxrtc::SpeakerRecordHeader& header, RecordOutline* outline) {
    if (header.type == kxrtc::kStartRecording) {
      NoteSpan(outline);
      session_start_us_ = header.record_timestamp_us;
    }
    last_us_ = header.record_timestamp_us;
  }

  void Note(uint32_t type, ByteBufferReader* payload, RecordOutline* outline) {
    kxrtc::NewChannelRecord channel;
    kxrtc::MediaDataRecord data;
    const bool needs_video = type == kxrtc::kNewVideoAttributes || type == kxrtc::kVideoData;
    if (needs_video && media_type_ == 0) return End(outline, RecordEnd::kDamaged);
    switch (type) {
      case kxrtc::kStartRecording:
        in_session_ = true;
        ++outline->sessions;
        break;
      case kxrtc::kStopRecording:
        in_session_ = false;
        break;
      case kxrtc::kNewChannel:
        if (!kxrtc::ReadRecord(payload, &channel)) return End(outline, RecordEnd::kDamaged);
        media_type_ = channel.media_type;
        if (media_type_ == 0) ++outline->switches_to_audio_only;
        break;
      case kxrtc::kVideoData:
      case kxrtc::kAudioData: {
        const bool is_video = type == kxrtc::kVideoData;
        const uint64_t file_size = is_video ? video_size_ : audio_size_;
        if (!kxrtc::ReadRecord(payload, &data)) return End(outline, RecordEnd::kDamaged);
        if (data.start_position > file_size || file_size - data.start_position < data.size) {
          return End(outline, RecordEnd::kFrameMissing);
        }
        if (data.size > kMaxFrameBytes) return End(outline, RecordEnd::kFrameTooLarge);
        ++(is_video ? outline->video_frames : outline->audio_frames);
        outline->media_bytes += data.size;
        break;
      }
      default:
        break;
    }
  }

  std::ifstream index_;
  const uint64_t video_size_;
  const uint64_t audio_size_;
  bool ended_ = false;
  bool in_session_ = false;
  uint32_t media_type_ = 0;
  int64_t session_start_us_ = 0;
  int64_t last_us_ = 0;
};

}  // namespace

bool ReadRecordOutline(const std::string& folder, RecordOutline* outline) {
  *outline = {};
  uint64_t video_size = 0;
  uint64_t audio_size = 0;
  uint64_t index_size = 0;
  const std::string index_path = kxrtc::SpeakerRecordFilePath(folder, kxrtc::kIndexFileExtension);
  if (!GetFileSize(kxrtc::SpeakerRecordFilePath(folder, kxrtc::kVideoFileExtension), &video_size) ||
      !GetFileSize(kxrtc::SpeakerRecordFilePath(folder, kxrtc::kAudioFileExtension), &audio_size) ||
      !GetFileSize(index_path, &index_size)) {
    return false;
  }
  std::ifstream index(index_path, std::ios::binary);
  if (!index) return false;
  IndexReader(std::move(index), video_size, audio_size).Read(outline);
  return true;
}

int64_t MediaDurationUs(const RecordOutline& outline) {
  return AudioSamplesToMicroseconds(static_cast<int64_t>(outline.audio_frames) *
                                    kSamplesPerAudioFrame);
}

SampleBounds BoundsOf(const RecordOutline& outline, VideoMode mode) {
  SampleBounds bounds;
  bounds.audio_frames = outline.audio_frames;
  const auto duration_us = static_cast<uint64_t>(MediaDurationUs(outline));
  const uint64_t fillers =
      duration_us / kFillerDistanceUs + outline.sessions + outline.switches_to_audio_only + 1;
  bounds.video_samples = outline.video_frames + fillers * kFillerPictures;
  bounds.bytes = outline.media_bytes;
  if (mode == VideoMode::kEncode) {
    // Video may go on beyond the end of the audio, but times in a file can be anything.
    const auto recorded_us =
        std::min(static_cast<uint64_t>(outline.recorded_us), 2 * duration_us + kSilenceCountedUs);
    const uint64_t seconds = std::max(duration_us, recorded_us) / kMicrosecondsPerSecond + 2;
    bounds.video_samples = seconds * kFrameRate;
    bounds.bytes += seconds * kMaxVideoBytesPerSecond;
  }
  return bounds;
}

}  // namespace kxrtc_host
