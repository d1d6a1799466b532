#include "record/check/structure_check.h"

#include <algorithm>
#include <cinttypes>

#include "kxrtc/recording/replay_rules.h"
#include "record/check/read_failure.h"
#include "record/index/record_text.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
void StructureCheck::StartSession(int64_t time_us) {
  session_.emplace();
  session_->start_us = session_->end_us = time_us;
  channel_start_us_ = time_us;
}

void StructureCheck::EndSession() {
  EndChannel(session_->end_us);
  SessionSummary& totals = summary_->totals;
  totals.video_frames += session_->video_frames;
  totals.audio_frames += session_->audio_frames;
  totals.key_frames += session_->key_frames;
  totals.video_bytes += session_->video_bytes;
  totals.audio_bytes += session_->audio_bytes;
  totals.switches += session_->switches;
  summary_->duration_us = kxrtc::SaturatedAdd(
      summary_->duration_us,
      std::max<int64_t>(0, kxrtc::SaturatedSubtract(session_->end_us, session_->start_us)));
  if (++summary_->session_count == kMaxSessions + 1) {
    summary_->findings.Add(
        FindingCode::kIndexTooManySessions, session_->start_us,
        "more than " + CountText(kMaxSessions, "session") + "; further ones are only counted");
  }
  if (summary_->sessions.size() < kMaxSessions) summary_->sessions.push_back(*session_);
  session_.reset();
}

void StructureCheck::EndChannel(int64_t time_us) {
  channel()->duration_us = kxrtc::SaturatedAdd(
      channel()->duration_us,
      std::max<int64_t>(0, kxrtc::SaturatedSubtract(time_us, channel_start_us_)));
  channel_start_us_ = time_us;
}

void StructureCheck::OnChannel(const IndexRecord& record) {
  EndChannel(record.header.record_timestamp_us);
  channel_key_ = record.channel.media_type;
  // A record may have any number of media types. The table has 256; the rest share one row.
  constexpr size_t kMaxMediaTypes = 256;
  constexpr uint32_t kOtherMediaTypes = 0xFFFFFFFF;
  if (summary_->channels.size() >= kMaxMediaTypes && summary_->channels.count(channel_key_) == 0) {
    channel_key_ = kOtherMediaTypes;
  }
  ++channel()->switches;
  ++session_->switches;
  ++summary_->switch_count;
  if (summary_->switches.size() < kMaxSwitches) {
    summary_->switches.push_back({record.header.record_timestamp_us, record.channel.media_type});
  }
}

void StructureCheck::OnRecord(const IndexRecord& record, RecordFault fault) {
  ++summary_->index_records;
  const uint32_t type = record.header.type;
  const int64_t time_us = record.header.record_timestamp_us;
  last_time_us_ = time_us;
  if (fault == RecordFault::kOpenSession) {
    summary_->findings.Add(
        FindingCode::kIndexNestedStart, time_us,
        Text("start record at offset %" PRIu64 " but the session that starts at %s is open",
             record.offset, SecondsText(session_->start_us).c_str()));
    EndSession();
  } else if (fault == RecordFault::kNoSession) {
    summary_->findings.Add(FindingCode::kIndexNoStart, time_us,
                           Text("%s record at offset %" PRIu64 " outside of a session",
                                RecordTypeName(type), record.offset));
    if (type == kxrtc::kStopRecording) return;
  }
  if (!session_) StartSession(time_us);
  session_->end_us = time_us;
  if (type == kxrtc::kStopRecording) {
    session_->closed = true;
    return EndSession();
  }
  if (type == kxrtc::kNewChannel) return OnChannel(record);
  if (state_->LacksChannel(record)) {
    summary_->findings.Add(FindingCode::kIndexVideoWithoutChannel, time_us,
                           Text("%s record at offset %" PRIu64 " but no channel with video is set",
                                RecordTypeName(type), record.offset));
  }
}

void StructureCheck::OnStep(IndexWalker::Step step, const IndexRecord& record, uint64_t bytes) {
  FindingList& findings = summary_->findings;
  switch (step) {
    case IndexWalker::Step::kGarbage:
      findings.Add(FindingCode::kIndexGarbage, last_time_us_,
                   CountText(bytes, "byte") +
                       Text(" at offset %" PRIu64 " of the index ", record.offset) +
                       ByCount(bytes, "is", "are") + " not a record");
      break;
    case IndexWalker::Step::kTruncated:
      if (session_) {
        findings.Add(
            FindingCode::kIndexTruncatedTail, last_time_us_,
            Text("the index ends inside the record at offset %" PRIu64 " (%s there)", record.offset,
                 (CountText(bytes, "byte") + ByCount(bytes, " is", " are")).c_str()));
      } else {
        findings.Add(FindingCode::kIndexStaleTail, last_time_us_,
                     Text("%s at offset %" PRIu64 " after the last whole record",
                          CountText(bytes, "byte").c_str(), record.offset));
      }
      break;
    case IndexWalker::Step::kChanged:
      ReportReadFailure(*index_, "the index", last_time_us_, &findings);
      break;
    case IndexWalker::Step::kRecord:
    case IndexWalker::Step::kEnd:
    case IndexWalker::Step::kStopped:
      break;
  }
}

void StructureCheck::Finish() {
  if (session_) {
    summary_->findings.Add(FindingCode::kIndexNoStop, session_->end_us,
                           Text("the session that starts at %s has no stop record",
                                SecondsText(session_->start_us).c_str()));
    EndSession();
  }
  if (summary_->index_records == 0) {
    summary_->findings.Add(FindingCode::kIndexEmpty, std::nullopt, "the index contains no record");
  }
}

}  // namespace kxrtc_host
