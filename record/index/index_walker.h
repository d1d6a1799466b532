// Reads the records of an index file in order with bounded memory, and skips bytes that are not a
// record.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_INDEX_INDEX_WALKER_H_
#define RECORD_INDEX_INDEX_WALKER_H_

#include <array>
#include <cstdint>
#include <functional>
#include <utility>

#include "files/read_only_file.h"
#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {

inline constexpr uint32_t kMaxRecordSize =
    kxrtc::kSpeakerRecordHeaderSize + kxrtc::kNewVideoAttributesRecordSize;

struct IndexRecord {
  uint64_t offset = 0;                          // Of the header in the index file.
  uint32_t size = 0;                            // Header and payload.
  std::array<uint8_t, kMaxRecordSize> bytes{};  // As in the file.
  kxrtc::SpeakerRecordHeader header;
  kxrtc::NewChannelRecord channel;             // kNewChannel only.
  kxrtc::NewVideoAttributesRecord attributes;  // kNewVideoAttributes only.
  kxrtc::MediaDataRecord data;                 // kVideoData and kAudioData only.

  bool IsMedia() const {
    return header.type == kxrtc::kVideoData || header.type == kxrtc::kAudioData;
  }
};

// "start", "stop", "channel", "attributes", "video", "audio" or "unknown".
const char* RecordTypeName(uint32_t type);

class IndexWalker {
 public:
  enum class Step {
    kRecord,     // The record was stored.
    kGarbage,    // Bytes that are not a record; a record or the end follows.
    kTruncated,  // The file ends inside a record. The end.
    kChanged,    // The file became shorter, or a read failed. The end.
    kEnd,        // The file ended after a whole record.
    kStopped,    // `is_wanted` returned false.
  };

  // `index` is borrowed and must be open. `is_wanted`, if given, is asked every kPieceSize
  // bytes; false ends the walk.
  explicit IndexWalker(ReadOnlyFile* index, std::function<bool()> is_wanted = nullptr)
      : index_(index), is_wanted_(std::move(is_wanted)) {}

  // The next step. kGarbage and kTruncated store the place and length of the bytes concerned in
  // `record->offset` and skipped_bytes(), and the first four of them in `record->header.type`, or
  // 0 if there are fewer.
  [[nodiscard]] Step Next(IndexRecord* record);

  uint64_t position() const { return position_; }
  uint64_t skipped_bytes() const { return skipped_bytes_; }

 private:
  enum class Look { kRecord, kNoRecord, kCut, kChanged };

  Look LookAtCut(uint64_t position) const;
  Look LookAt(uint64_t position, IndexRecord* record) const;
  uint32_t TypeAt(uint64_t position) const;
  Step SkipGarbage(IndexRecord* record);
  bool FindTypeMark();
  bool IsStopped();

  static constexpr uint64_t kPieceSize = ReadOnlyFile::kWindowSize / 4;

  ReadOnlyFile* index_;
  std::function<bool()> is_wanted_;
  uint64_t next_question_ = kPieceSize;
  bool is_stopped_ = false;
  uint64_t position_ = 0;
  uint64_t skipped_bytes_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_INDEX_WALKER_H_
