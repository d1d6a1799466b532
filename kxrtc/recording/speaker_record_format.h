// The on-disk format of a speaker record: the names of its four files and the typed records of its
// index (docs/speaker_record_format.md). Writer, reader, tests and tools all take it from here.
// Threads: any.
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_FORMAT_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_FORMAT_H_

#include <cstdint>
#include <string>

#include "kx_utility/byte_buffer.h"
#include "kx_utility/export.h"

namespace kxrtc {

// Every file is named folder + prefix + extension by plain concatenation: no separator is inserted.
inline constexpr char kSpeakerRecordFilePrefix[] = "SpeakeRecord";  // sic
inline constexpr char kDescriptorFileExtension[] = ".desc";
inline constexpr char kIndexFileExtension[] = ".index";
inline constexpr char kVideoFileExtension[] = ".264";
inline constexpr char kAudioFileExtension[] = ".aac";

KX_EXPORT std::string SpeakerRecordFilePath(const std::string& folder, const char* extension);

enum SpeakerRecordType : uint32_t {
  kStartRecording = 0xEEDDCC01,
  kStopRecording = 0xEEDDCC02,
  kNewChannel = 0xEEDDCC03,
  kNewVideoAttributes = 0xEEDDCC04,
  kReservedRecord = 0xEEDDCC05,  // Never written; a reader rejects it.
  kVideoData = 0xEEDDCC06,
  kAudioData = 0xEEDDCC07,
};

// Sizes in bytes. All integers are big-endian, without padding.
inline constexpr uint32_t kSpeakerRecordHeaderSize = 12;
inline constexpr uint32_t kNewChannelRecordSize = 4;
inline constexpr uint32_t kNewVideoAttributesRecordSize = 12;
inline constexpr uint32_t kMediaDataRecordSize = 12;

// Opens every index record.
struct SpeakerRecordHeader {
  uint32_t type = 0;
  int64_t record_timestamp_us = 0;  // Recorder time.
};

// Payload of kNewChannel: the media type of the channel that is recorded from now on.
struct NewChannelRecord {
  uint32_t media_type = 0;  // 0: no video. Other values belong to the host.
};

// Payload of kNewVideoAttributes: applies to the video frames that follow.
struct NewVideoAttributesRecord {
  int32_t rotation_angle = 0;
  uint32_t width = 0;  // Pixels.
  uint32_t height = 0;
};

// Payload of kVideoData and kAudioData: where the frame is in the ".264" or ".aac" file.
struct MediaDataRecord {
  uint64_t start_position = 0;  // Bytes.
  uint32_t size = 0;
};
using VideoDataRecord = MediaDataRecord;
using AudioDataRecord = MediaDataRecord;

// Size of the payload after a header of `type`; false for a type that no record has.
[[nodiscard]] KX_EXPORT bool GetRecordPayloadSize(uint32_t type, uint32_t* payload_size);

// Reads the fields in file order; false when the reader has too few bytes.
[[nodiscard]] KX_EXPORT bool ReadRecord(kx_utility::ByteBufferReader* reader,
                                        SpeakerRecordHeader* header);
[[nodiscard]] KX_EXPORT bool ReadRecord(kx_utility::ByteBufferReader* reader,
                                        NewChannelRecord* record);
[[nodiscard]] KX_EXPORT bool ReadRecord(kx_utility::ByteBufferReader* reader,
                                        NewVideoAttributesRecord* record);
[[nodiscard]] KX_EXPORT bool ReadRecord(kx_utility::ByteBufferReader* reader,
                                        MediaDataRecord* record);

// Appends the fields in file order.
KX_EXPORT void WriteRecord(const SpeakerRecordHeader& header, kx_utility::ByteBufferWriter* writer);
KX_EXPORT void WriteRecord(const NewChannelRecord& record, kx_utility::ByteBufferWriter* writer);
KX_EXPORT void WriteRecord(const NewVideoAttributesRecord& record,
                           kx_utility::ByteBufferWriter* writer);
KX_EXPORT void WriteRecord(const MediaDataRecord& record, kx_utility::ByteBufferWriter* writer);

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORD_FORMAT_H_
