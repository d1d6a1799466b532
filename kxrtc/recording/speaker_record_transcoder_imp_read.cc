// The transcoder's reading side: index blocks and frame bytes.
#include "kx_utility/failure_log.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"

namespace kxrtc {
namespace {

using kx_utility::ByteBufferReader;
using kx_utility::Failed;
using kx_utility::FailedIn;
using kx_utility::Here;
using kx_utility::LogFormatted;
using kx_utility::LS_WARNING;
using kx_utility::RawBuffer;
using kx_utility::SequentialReader;

constexpr uint32_t SizeInIndex(const SpeakerRecordHeader*) { return kSpeakerRecordHeaderSize; }
constexpr uint32_t SizeInIndex(const NewChannelRecord*) { return kNewChannelRecordSize; }
constexpr uint32_t SizeInIndex(const NewVideoAttributesRecord*) {
  return kNewVideoAttributesRecordSize;
}
constexpr uint32_t SizeInIndex(const MediaDataRecord*) { return kMediaDataRecordSize; }

// The index may claim any size: before a buffer grows for it, the bytes must be there.
bool FrameLiesInFile(const SequentialReader& file, const MediaDataRecord& record) {
  size_t file_size = 0;
  return file.GetSize(&file_size) && record.start_position <= file_size &&
         record.size <= file_size - record.start_position;
}

// Null when the file has fewer bytes.
const uint8_t* ReadLargeFrame(const MediaDataRecord& record, SequentialReader* file,
                              RawBuffer* buffer) {
  buffer->set_size(0);
  if (record.size > buffer->capacity()) {
    if (!FrameLiesInFile(*file, record)) return nullptr;
    buffer->EnsureCapacityWithHeadroom(record.size, true);
  }
  buffer->set_size(record.size);
  return file->Read(buffer->data(), record.size) == record.size ? buffer->data() : nullptr;
}

// Reads one frame; `buffer` takes those that are larger than a block of the reader. Positions are a
// cross-check: the files are read sequentially, and a seek happens only where the index says
// otherwise. Reports in the name of the calling operation.
// Intended: the texts name the video file for audio as well.
bool ReadFrame(const MediaDataRecord& record, SequentialReader* file, RawBuffer* buffer,
               FrameBytes* frame, kx_utility::CallSite site) {
  size_t position = 0;
  if (!file->CurrentPosition(&position)) return FailedIn("video_file_.CurrentPosition", site);
  if (position != record.start_position) {
    LogFormatted(LS_WARNING, site, "position is not correct, cp %llu, record.start_position = %llu",
                 static_cast<unsigned long long>(position),
                 static_cast<unsigned long long>(record.start_position));
    if (!file->Seek(record.start_position)) return FailedIn("video_file_.Seek", site);
  }
  *frame = {nullptr, record.size};
  if (record.size == 0) return true;
  frame->data = record.size <= SequentialReader::kBlockSize ? file->Take(record.size)
                                                            : ReadLargeFrame(record, file, buffer);
  return frame->data != nullptr || FailedIn("video_file_.Read", site);
}

}  // namespace

template <typename Record>
bool SpeakerRecordTranscoderImp::ReadIndexBlock(Record* record) {
  constexpr uint32_t kSize = SizeInIndex(static_cast<const Record*>(nullptr));
  const uint8_t* const block = index_file_.Take(kSize);
  if (block == nullptr) return false;
  ByteBufferReader reader(reinterpret_cast<const char*>(block), kSize);
  return ReadRecord(&reader, record);
}

bool SpeakerRecordTranscoderImp::GetNextRecordHeader(SpeakerRecordHeader* header) {
  return ReadIndexBlock(header) || Failed("failed to read SpeakerRecordHeader");
}

bool SpeakerRecordTranscoderImp::GetNewChannelRecord(NewChannelRecord* record) {
  return ReadIndexBlock(record) || Failed("failed to read NewChannelRecord");
}

bool SpeakerRecordTranscoderImp::GetNewVideoAttributesRecord(NewVideoAttributesRecord* record) {
  return ReadIndexBlock(record) || Failed("failed to read NewVideoAttributesRecord");
}

bool SpeakerRecordTranscoderImp::GetVideoDataRecord(VideoDataRecord* record) {
  return ReadIndexBlock(record) || Failed("failed to read VideoDataRecord");
}

bool SpeakerRecordTranscoderImp::GetAudioDataRecord(AudioDataRecord* record) {
  return ReadIndexBlock(record) || Failed("failed to read AudioDataRecord");
}

bool SpeakerRecordTranscoderImp::ReadVideoData(const VideoDataRecord& record, RawBuffer* buffer,
                                               FrameBytes* frame) {
  return ReadFrame(record, &video_file_, buffer, frame, Here());
}

bool SpeakerRecordTranscoderImp::ReadAudioData(const AudioDataRecord& record, RawBuffer* buffer,
                                               FrameBytes* frame) {
  return ReadFrame(record, &audio_file_, buffer, frame, Here());
}

}  // namespace kxrtc
