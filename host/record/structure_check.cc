#include "host/record/structure_check.h"

#include <algorithm>

#include "host/record/text.h"

namespace kxrtc_host {
namespace {

unsigned long long Ull(uint64_t value) { return value; }

}  // namespace

void StructureCheck::StartSession(int64_t time_us) {
  in_session_ = true;
  session_ = {};
  session_.start_us = session_.end_us = time_us;
  channel_start_us_ = time_us;
}

void StructureCheck::EndSession() {
  EndChannel(session_.end_us);
  SessionSummary& totals = summary_->totals;
  totals.video_frames += session_.video_frames;
  totals.audio_frames += session_.audio_frames;
  totals.key_frames += session_.key_frames;
  totals.video_bytes += session_.video_bytes;
  totals.audio_bytes += session_.audio_bytes;
  totals.switches += session_.switches;
  summary_->duration_us =
      SaturatedAdd(summary_->duration_us,
                   std::max<int64_t>(0, SaturatedSubtract(session_.end_us, session_.start_us)));
  if (++summary_->session_count == kMaxSessions + 1) {
    summary_->findings.Add(
        FindingCode::kIndexTooManySessions, session_.start_us,
        Text("more than %zu sessions; the others are only counted", kMaxSessions));
  }
  if (summary_->sessions.size() < kMaxSessions) summary_->sessions.push_back(session_);
  in_session_ = false;
}

void StructureCheck::EndChannel(int64_t time_us) {
  ChannelTotals& totals = summary_->channels[media_type_];
  totals.duration_us = SaturatedAdd(
      totals.duration_us, std::max<int64_t>(0, SaturatedSubtract(time_us, channel_start_us_)));
  channel_start_us_ = time_us;
}

void StructureCheck::OnStart(const IndexRecord& record) {
  if (in_session_) {
    summary_->findings.Add(FindingCode::kIndexNestedStart, record.header.record_timestamp_us,
                           Text("start record at offset %llu although the session of %s is open",
                                Ull(record.offset), SecondsText(session_.start_us).c_str()));
    EndSession();
  }
  StartSession(record.header.record_timestamp_us);
}

void StructureCheck::OnStop(const IndexRecord& record) {
  session_.end_us = record.header.record_timestamp_us;
  session_.closed = true;
  EndSession();
}

void StructureCheck::OnChannel(const IndexRecord& record) {
  EndChannel(record.header.record_timestamp_us);
  media_type_ = record.channel.media_type;
  // A hostile record may name any number of media types: the table keeps 256 and the rest as one.
  constexpr size_t kMaxMediaTypes = 256;
  constexpr uint32_t kOtherMediaTypes = 0xFFFFFFFF;
  if (summary_->channels.size() >= kMaxMediaTypes && summary_->channels.count(media_type_) == 0) {
    media_type_ = kOtherMediaTypes;
  }
  ++summary_->channels[media_type_].switches;
  ++session_.switches;
  ++summary_->switch_count;
  if (summary_->switches.size() < kMaxSwitches) {
    summary_->switches.push_back({record.header.record_timestamp_us, record.channel.media_type});
  }
}

void StructureCheck::OnRecord(const IndexRecord& record) {
  ++summary_->index_records;
  const int64_t time_us = record.header.record_timestamp_us;
  last_time_us_ = time_us;
  if (record.header.type == kxrtc::kStartRecording) return OnStart(record);
  if (!in_session_) {
    summary_->findings.Add(FindingCode::kIndexNoStart, time_us,
                           Text("%s record at offset %llu outside of a session",
                                RecordTypeName(record.header.type), Ull(record.offset)));
    if (record.header.type == kxrtc::kStopRecording) return;
    StartSession(time_us);
  }
  if (record.header.type == kxrtc::kStopRecording) return OnStop(record);
  session_.end_us = time_us;
  if (record.header.type == kxrtc::kNewChannel) return OnChannel(record);
  if (record.header.type != kxrtc::kAudioData && media_type_ == 0) {
    summary_->findings.Add(FindingCode::kIndexVideoWithoutChannel, time_us,
                           Text("%s record at offset %llu although no channel with video is set",
                                RecordTypeName(record.header.type), Ull(record.offset)));
  }
}

void StructureCheck::OnStep(IndexWalker::Step step, const IndexRecord& record, uint64_t bytes) {
  FindingList& findings = summary_->findings;
  switch (step) {
    case IndexWalker::Step::kGarbage:
      findings.Add(FindingCode::kIndexGarbage, last_time_us_,
                   Text("%llu bytes at offset %llu of the index are no record", Ull(bytes),
                        Ull(record.offset)));
      break;
    case IndexWalker::Step::kTruncated:
      if (in_session_) {
        findings.Add(FindingCode::kIndexTruncatedTail, last_time_us_,
                     Text("the index ends inside the record at offset %llu (%llu bytes of it)",
                          Ull(record.offset), Ull(bytes)));
      } else {
        findings.Add(FindingCode::kIndexStaleTail, last_time_us_,
                     Text("%llu bytes at offset %llu behind the last whole record", Ull(bytes),
                          Ull(record.offset)));
      }
      break;
    case IndexWalker::Step::kChanged:
      findings.Add(FindingCode::kFileChanged, last_time_us_,
                   "the index became shorter while it was read");
      break;
    case IndexWalker::Step::kRecord:
    case IndexWalker::Step::kEnd:
    case IndexWalker::Step::kStopped:
      break;
  }
}

void StructureCheck::Finish() {
  if (in_session_) {
    summary_->findings.Add(
        FindingCode::kIndexNoStop, session_.end_us,
        Text("the session of %s has no stop record", SecondsText(session_.start_us).c_str()));
    EndSession();
  }
  if (summary_->index_records == 0) {
    summary_->findings.Add(FindingCode::kIndexEmpty, std::nullopt, "the index holds no record");
  }
}

}  // namespace kxrtc_host
