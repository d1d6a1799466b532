#include "host/record/index_rewriter.h"

#include <algorithm>
#include <utility>

#include "host/record/data_check.h"
#include "host/record/record_summary.h"
#include "host/record/text.h"
#include "kx_utility/byte_buffer.h"

namespace kxrtc_host {
namespace {

constexpr uint32_t kCameraMediaType = 2;
constexpr uint32_t kDesktopMediaType = 3;

unsigned long long Ull(uint64_t value) { return value; }

}  // namespace

void RepairChanges::Add(RepairChange change) {
  ++(change.kind == RepairChange::Kind::kLost ? lost : added);
  if (kept.size() < kKept) kept.push_back(std::move(change));
}

void IndexRewriter::Start(int64_t time_us) {
  in_session_ = true;
  if (sessions_.size() == kMaxSessions) {
    has_too_many_sessions_ = true;
    sessions_.pop_back();  // The repair fails; memory stays bounded until it does.
  }
  kxrtc::SpeakerRecordSession session;
  session.sessoin_start_timestamp_us = session.sessoin_end_timestamp_us = time_us;
  sessions_.push_back(session);
}

void IndexRewriter::AddRecord(uint32_t type, int64_t time_us, uint64_t offset, const char* why,
                              std::string* out) {
  kx_utility::ByteBufferWriter writer;
  kxrtc::WriteRecord(kxrtc::SpeakerRecordHeader{type, time_us}, &writer);
  if (type == kxrtc::kNewChannel) {
    kxrtc::WriteRecord(kxrtc::NewChannelRecord{kCameraMediaType}, &writer);
  }
  out->append(writer.data(), writer.length());
  last_time_us_ = time_us;
  changes_->Add({RepairChange::Kind::kAdded, offset, time_us,
                 Text("%s record: %s", RecordTypeName(type), why)});
}

void IndexRewriter::AddStop(uint64_t offset, const char* why, std::string* out) {
  AddRecord(kxrtc::kStopRecording, SaturatedAdd(last_time_us_, 1), offset, why, out);
  sessions_.back().sessoin_end_timestamp_us = last_time_us_;
  in_session_ = false;
}

bool IndexRewriter::KeepsMedia(const IndexRecord& record) {
  if (!record.IsMedia()) return true;
  const bool is_video = record.header.type == kxrtc::kVideoData;
  const uint64_t file_size = is_video ? video_size_ : audio_size_;
  if (LiesInside(record.data, file_size)) return true;
  changes_->Add({RepairChange::Kind::kLost, record.offset, record.header.record_timestamp_us,
                 Text("%s frame: its %u bytes at %llu are not in the file, which has %llu",
                      RecordTypeName(record.header.type), record.data.size,
                      Ull(record.data.start_position), Ull(file_size))});
  return false;
}

void IndexRewriter::OnRecord(const IndexRecord& record, std::string* out) {
  const uint32_t type = record.header.type;
  const int64_t time_us = record.header.record_timestamp_us;
  if (!KeepsMedia(record)) return;
  if (type == kxrtc::kStartRecording) {
    if (in_session_) AddStop(record.offset, "the next session starts", out);
    Start(time_us);
  } else if (!in_session_) {
    if (type == kxrtc::kStopRecording) {
      changes_->Add(
          {RepairChange::Kind::kLost, record.offset, time_us, "stop record outside of a session"});
      return;
    }
    AddRecord(kxrtc::kStartRecording, time_us, record.offset, "records outside of a session", out);
    Start(time_us);
  }
  const bool needs_channel = type == kxrtc::kVideoData || type == kxrtc::kNewVideoAttributes;
  if (needs_channel && media_type_ == 0) {
    AddRecord(kxrtc::kNewChannel, time_us, record.offset,
              "video without a channel, taken for a camera", out);
    media_type_ = kCameraMediaType;
    ++sessions_.back().session_video_switch_count;
  }
  Count(record);
  out->append(reinterpret_cast<const char*>(record.bytes.data()), record.size);
}

void IndexRewriter::Count(const IndexRecord& record) {
  kxrtc::SpeakerRecordSession& session = sessions_.back();
  ++kept_.records;
  last_time_us_ = record.header.record_timestamp_us;
  switch (record.header.type) {
    case kxrtc::kStopRecording:
      in_session_ = false;
      break;
    case kxrtc::kNewChannel:
      media_type_ = record.channel.media_type;
      contains_desktop_ = contains_desktop_ || media_type_ == kDesktopMediaType;
      ++session.session_video_switch_count;
      break;
    case kxrtc::kVideoData:
      ++session.session_video_frame_count;
      ++kept_.video_frames;
      kept_.video_end = std::max(kept_.video_end, record.data.start_position + record.data.size);
      break;
    case kxrtc::kAudioData:
      ++session.session_audio_frame_count;
      ++kept_.audio_frames;
      kept_.audio_end = std::max(kept_.audio_end, record.data.start_position + record.data.size);
      break;
    default:
      return;  // Attributes do not count for the end of a session.
  }
  session.sessoin_end_timestamp_us = last_time_us_;
}

void IndexRewriter::OnGarbage(uint64_t offset, uint64_t bytes) {
  changes_->Add({RepairChange::Kind::kLost, offset, std::nullopt,
                 Text("%llu bytes of the index that are no whole record", Ull(bytes))});
}

void IndexRewriter::Finish(uint64_t index_size, std::string* out) {
  if (in_session_) AddStop(index_size, "the record ends without one", out);
}

}  // namespace kxrtc_host
