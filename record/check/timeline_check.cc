#include "record/check/timeline_check.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

template <typename Run>
void Note(int64_t time_us, Run* run) {
  if (run->count++ == 0) run->first_us = time_us;
}

}  // namespace

TimelineCheck::TimelineCheck(const std::string& folder, FindingList* findings)
    : findings_(findings), has_timeline_(reader_.Open(folder)), has_lines_(has_timeline_) {
  if (reader_.problem().empty()) return;
  findings_->Add(reader_.has_other_version() ? FindingCode::kTimelineVersion
                                             : FindingCode::kTimelineUnreadable,
                 std::nullopt, reader_.problem());
}

// Keeps kLinesAhead marks ready while there are as many.
void TimelineCheck::ReadAhead() {
  while (has_lines_ && ahead_.size() < kLinesAhead) {
    const TimelineReader::Step step = reader_.Next();
    has_lines_ = step != TimelineReader::Step::kEnd;
    if (step == TimelineReader::Step::kDamaged) ++damaged_lines_;
    if (step != TimelineReader::Step::kEntry) continue;
    const TimelineEntry& entry = reader_.entry();
    if (entry.kind == TimelineEntry::Kind::kStart) {
      ahead_.push_back({kxrtc::kStartRecording, entry.time_us, 0});
    } else if (entry.kind == TimelineEntry::Kind::kSelected) {
      ahead_.push_back({kxrtc::kNewChannel, entry.time_us, entry.media_type});
    }
  }
}

// The next line has no record.
void TimelineCheck::PassLine() {
  Note(ahead_.front().time_us, &without_record_);
  ahead_.pop_front();
}

void TimelineCheck::OnRecord(const IndexRecord& record) {
  if (!has_timeline_) return;
  index_time_us_ = record.header.record_timestamp_us;
  const uint32_t type = record.header.type;
  if (type != kxrtc::kStartRecording && type != kxrtc::kNewChannel) return;
  const Mark mark = {type, index_time_us_,
                     type == kxrtc::kNewChannel ? record.channel.media_type : 0};
  for (;;) {
    ReadAhead();
    const auto line = std::find(ahead_.begin(), ahead_.end(), mark);
    if (line != ahead_.end()) {
      for (auto passed = line - ahead_.begin(); passed > 0; --passed) PassLine();
      ahead_.pop_front();
      return ReportRuns();
    }
    // Only earlier lines are passed: the record of a later one may still come.
    if (ahead_.empty() || ahead_.front().time_us >= mark.time_us) break;
    PassLine();
  }
  Note(mark.time_us, &without_line_);
}

void TimelineCheck::ReportRuns() {
  if (const uint64_t count = without_line_.count; count > 0) {
    findings_->Add(FindingCode::kTimelineMissingLine, without_line_.first_us,
                   CountText(count, "start or channel record") + ByCount(count, " has", " have") +
                       " no line in the speaker timeline");
  }
  if (const uint64_t count = without_record_.count; count > 0) {
    findings_->Add(FindingCode::kTimelineNoRecord, without_record_.first_us,
                   CountText(count, "line") + " of the speaker timeline" +
                       ByCount(count, " tells", " tell") +
                       " of a start or a channel that the index does not contain");
  }
  without_line_ = without_record_ = {};
}

void TimelineCheck::Finish() {
  if (!has_timeline_) return;
  for (ReadAhead(); !ahead_.empty(); ReadAhead()) PassLine();
  if (damaged_lines_ > 0) {
    findings_->Add(FindingCode::kTimelineDamagedLine, std::nullopt,
                   CountText(damaged_lines_, "line") + " of the speaker timeline" +
                       ByCount(damaged_lines_, " is", " are") + " damaged and passed over");
  }
  if (!reader_.problem().empty()) {
    return findings_->Add(FindingCode::kTimelineUnreadable, std::nullopt, reader_.problem());
  }
  const int64_t lost_us = kxrtc::SaturatedSubtract(index_time_us_, without_line_.first_us);
  if (lost_us <= kLostByAKillUs && without_record_.count == 0) without_line_ = {};
  ReportRuns();
}

}  // namespace kxrtc_host
