#include "record/index/index_walker.h"

#include <algorithm>
#include <cstring>

#include "kx_utility/byte_buffer.h"

namespace kxrtc_host {
namespace {

using kx_utility::ByteBufferReader;
using kxrtc::kSpeakerRecordHeaderSize;

ByteBufferReader ReaderOf(const uint8_t* bytes, uint32_t size) {
  return ByteBufferReader(reinterpret_cast<const char*>(bytes), size);
}

// `reader` stands behind the header.
bool ReadPayload(ByteBufferReader* reader, IndexRecord* record) {
  switch (record->header.type) {
    case kxrtc::kNewChannel:
      return kxrtc::ReadRecord(reader, &record->channel);
    case kxrtc::kNewVideoAttributes:
      return kxrtc::ReadRecord(reader, &record->attributes);
    case kxrtc::kVideoData:
    case kxrtc::kAudioData:
      return kxrtc::ReadRecord(reader, &record->data);
    default:
      return true;
  }
}

}  // namespace

const char* RecordTypeName(uint32_t type) {
  switch (type) {
    case kxrtc::kStartRecording:
      return "start";
    case kxrtc::kStopRecording:
      return "stop";
    case kxrtc::kNewChannel:
      return "channel";
    case kxrtc::kNewVideoAttributes:
      return "attributes";
    case kxrtc::kVideoData:
      return "video";
    case kxrtc::kAudioData:
      return "audio";
    default:
      return "unknown";
  }
}

// The file has too few bytes for a record at `position`; those that it has must be readable.
IndexWalker::Look IndexWalker::LookAtCut(uint64_t position) const {
  const uint64_t left = index_->size() - position;
  return index_->View(position, static_cast<size_t>(left)) != nullptr ? Look::kCut : Look::kChanged;
}

IndexWalker::Look IndexWalker::LookAt(uint64_t position, IndexRecord* record) const {
  const uint64_t left = index_->size() - position;
  if (left < kSpeakerRecordHeaderSize) return LookAtCut(position);
  const uint8_t* bytes = index_->View(position, kSpeakerRecordHeaderSize);
  if (bytes == nullptr) return Look::kChanged;
  *record = {};
  ByteBufferReader reader = ReaderOf(bytes, kSpeakerRecordHeaderSize);
  if (!kxrtc::ReadRecord(&reader, &record->header)) return Look::kChanged;
  uint32_t payload_size = 0;
  if (!kxrtc::GetRecordPayloadSize(record->header.type, &payload_size)) return Look::kNoRecord;
  record->offset = position;
  record->size = kSpeakerRecordHeaderSize + payload_size;
  if (left < record->size) return LookAtCut(position);
  bytes = index_->View(position, record->size);
  if (bytes == nullptr) return Look::kChanged;
  std::copy(bytes, bytes + record->size, record->bytes.begin());
  reader.Construct(reinterpret_cast<const char*>(bytes) + kSpeakerRecordHeaderSize, payload_size);
  return ReadPayload(&reader, record) ? Look::kRecord : Look::kChanged;
}

IndexWalker::Step IndexWalker::Next(IndexRecord* record) {
  skipped_bytes_ = 0;
  if (position_ >= index_->size()) return Step::kEnd;
  if (IsStopped()) return Step::kStopped;
  switch (LookAt(position_, record)) {
    case Look::kRecord:
      position_ += record->size;
      return Step::kRecord;
    case Look::kNoRecord:
      return SkipGarbage(record);
    case Look::kChanged:
      position_ = index_->size();
      return Step::kChanged;
    case Look::kCut:
      break;
  }
  const uint32_t type = TypeAt(position_);
  *record = {};
  record->header.type = type;
  record->offset = position_;
  skipped_bytes_ = index_->size() - position_;
  position_ = index_->size();
  return Step::kTruncated;
}

uint32_t IndexWalker::TypeAt(uint64_t position) const {
  uint32_t type = 0;
  const uint8_t* bytes = index_->View(position, sizeof(type));
  if (bytes == nullptr) return 0;
  return ReaderOf(bytes, sizeof(type)).ReadUInt32(&type) ? type : 0;
}

bool IndexWalker::IsStopped() {
  if (is_wanted_ && position_ >= next_question_) {
    next_question_ = position_ + kPieceSize;
    is_stopped_ = is_stopped_ || !is_wanted_();
  }
  return is_stopped_;
}

// Moves to the next byte that may begin a type, or to the end. False when the file became shorter
// or the walk was stopped.
bool IndexWalker::FindTypeMark() {
  constexpr uint8_t kTypeMark = kxrtc::kStartRecording >> 24;
  while (position_ < index_->size()) {
    if (IsStopped()) return false;
    const auto piece = static_cast<size_t>(std::min(kPieceSize, index_->size() - position_));
    const uint8_t* bytes = index_->View(position_, piece);
    if (bytes == nullptr) return false;
    const auto* mark = static_cast<const uint8_t*>(std::memchr(bytes, kTypeMark, piece));
    if (mark != nullptr) {
      position_ += static_cast<uint64_t>(mark - bytes);
      return true;
    }
    position_ = index_->NextData(position_ + piece);  // No type stands in a hole of the file.
  }
  return true;
}

// Any four bytes can look like a type by chance. A record counts only if another record or the end
// of the file follows directly.
IndexWalker::Step IndexWalker::SkipGarbage(IndexRecord* record) {
  const uint64_t start = position_;
  const uint32_t type = TypeAt(start);
  while (++position_ < index_->size()) {
    IndexRecord candidate;
    IndexRecord next;
    const bool found = FindTypeMark();
    if (found && position_ >= index_->size()) break;
    const Look look = found ? LookAt(position_, &candidate) : Look::kChanged;
    if (look == Look::kChanged) {
      position_ = index_->size();
      return is_stopped_ ? Step::kStopped : Step::kChanged;
    }
    if (look != Look::kRecord) continue;
    const uint64_t behind = position_ + candidate.size;
    if (behind == index_->size()) break;
    const Look look_behind = LookAt(behind, &next);
    if (look_behind == Look::kRecord || look_behind == Look::kCut) break;
  }
  *record = {};
  record->header.type = type;
  record->offset = start;
  skipped_bytes_ = position_ - start;
  return Step::kGarbage;
}

}  // namespace kxrtc_host
