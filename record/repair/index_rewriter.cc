#include "record/repair/index_rewriter.h"

#include <algorithm>
#include <utility>

#include "kx_utility/byte_buffer.h"
#include "kxrtc/recording/peer_connection_conductor.h"
#include "kxrtc/recording/replay_rules.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

using kxrtc::PeerConnectionConductor;

}  // namespace

// Appends a record that the old index does not have.
void IndexRewriter::AddRecord(uint32_t type, int64_t time_us, uint64_t offset, const char* why,
                              std::string* out) {
  IndexRecord record;
  record.header = {type, time_us};
  kx_utility::ByteBufferWriter writer;
  kxrtc::WriteRecord(record.header, &writer);
  if (type == kxrtc::kNewChannel) {
    record.channel.media_type = PeerConnectionConductor::kCamera;
    kxrtc::WriteRecord(record.channel, &writer);
  }
  out->append(writer.data(), writer.length());
  changes_->Add({RepairChange::Kind::kAdded, offset, time_us,
                 Text("%s record: %s", RecordTypeName(type), why)});
  Count(record);
}

void IndexRewriter::AddStop(uint64_t offset, const char* why, std::string* out) {
  AddRecord(kxrtc::kStopRecording, kxrtc::SaturatedAdd(last_time_us_, 1), offset, why, out);
}

void IndexRewriter::OnRecord(const IndexRecord& record, std::string* out) {
  const int64_t time_us = record.header.record_timestamp_us;
  switch (written_.FaultOf(record)) {
    case RecordFault::kOpenSession:
      AddStop(record.offset, "the next session starts", out);
      break;
    case RecordFault::kNoSession:
      if (record.header.type == kxrtc::kStopRecording) {
        changes_->Add({RepairChange::Kind::kLost, record.offset, time_us,
                       "stop record outside of a session"});
        return;
      }
      AddRecord(kxrtc::kStartRecording, time_us, record.offset, "records outside of a session",
                out);
      break;
    default:
      break;
  }
  if (written_.LacksChannel(record)) {
    AddRecord(kxrtc::kNewChannel, time_us, record.offset,
              "video without a channel, treated as a camera", out);
  }
  ++kept_.records;
  Count(record);
  out->append(reinterpret_cast<const char*>(record.bytes.data()), record.size);
}

// Updates the counts with a record of the new index.
void IndexRewriter::Count(const IndexRecord& record) {
  const int64_t time_us = record.header.record_timestamp_us;
  const uint64_t end = record.data.size == 0 ? 0 : record.data.start_position + record.data.size;
  written_.Take(record);
  recorded_time_.Take(record.header);
  kept_.recorded_us = recorded_time_.total_us();
  last_time_us_ = time_us;
  if (record.header.type == kxrtc::kStartRecording) {
    sessions_.emplace_back().sessoin_start_timestamp_us = time_us;
  }
  kxrtc::SpeakerRecordSession& session = sessions_.back();
  switch (record.header.type) {
    case kxrtc::kNewVideoAttributes:
      return;  // Attributes do not count for the end of a session.
    case kxrtc::kNewChannel:
      contains_desktop_ =
          contains_desktop_ || record.channel.media_type == PeerConnectionConductor::kDesktop;
      ++session.session_video_switch_count;
      break;
    case kxrtc::kVideoData:
      ++session.session_video_frame_count;
      ++kept_.video_frames;
      kept_.video_end = std::max(kept_.video_end, end);
      break;
    case kxrtc::kAudioData:
      ++session.session_audio_frame_count;
      ++kept_.audio_frames;
      kept_.audio_end = std::max(kept_.audio_end, end);
      break;
    default:
      break;
  }
  session.sessoin_end_timestamp_us = time_us;
}

void IndexRewriter::OnGarbage(uint64_t offset, uint64_t bytes) {
  changes_->Add({RepairChange::Kind::kLost, offset, std::nullopt,
                 CountText(bytes, "byte") + " of the index that " + ByCount(bytes, "is", "are") +
                     " not a whole record"});
}

void IndexRewriter::Finish(uint64_t index_size, std::string* out) {
  if (written_.in_session()) AddStop(index_size, "the record ends without it", out);
}

}  // namespace kxrtc_host
