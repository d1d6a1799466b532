#include "record/check/finding.h"

#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

namespace kxrtc_host {
namespace {

struct CodeRow {
  FindingCode code;
  const char* name;
  Severity severity;
};

constexpr CodeRow kCodes[] = {
    {FindingCode::kAudioCadence, "audio.cadence", Severity::kWarning},
    {FindingCode::kAudioFrameLength, "audio.frame-length", Severity::kWarning},
    {FindingCode::kAudioLeftOut, "audio.left-out", Severity::kWarning},
    {FindingCode::kAudioNotAdts, "audio.not-adts", Severity::kInfo},
    {FindingCode::kAudioSampleRate, "audio.sample-rate", Severity::kWarning},
    {FindingCode::kAudioUndecodable, "audio.undecodable", Severity::kWarning},
    {FindingCode::kClockBackwardStep, "clock.backward-step", Severity::kWarning},
    {FindingCode::kClockForwardStep, "clock.forward-step", Severity::kWarning},
    {FindingCode::kClockOutOfOrder, "clock.out-of-order", Severity::kInfo},
    {FindingCode::kDataEmptyFrame, "data.empty-frame", Severity::kWarning},
    {FindingCode::kDataHole, "data.hole", Severity::kInfo},
    {FindingCode::kDataOverlap, "data.overlap", Severity::kWarning},
    {FindingCode::kDataPastEnd, "data.past-end", Severity::kError},
    {FindingCode::kDataStaleTail, "data.stale-tail", Severity::kWarning},
    {FindingCode::kDescriptorAudioChannels, "descriptor.audio-channels", Severity::kWarning},
    {FindingCode::kDescriptorFlags, "descriptor.flags", Severity::kWarning},
    {FindingCode::kDescriptorMember, "descriptor.member", Severity::kError},
    {FindingCode::kDescriptorSessionCount, "descriptor.session-count", Severity::kError},
    {FindingCode::kDescriptorSessionMismatch, "descriptor.session-mismatch", Severity::kWarning},
    {FindingCode::kDescriptorTooLarge, "descriptor.too-large", Severity::kWarning},
    {FindingCode::kDescriptorUnparsable, "descriptor.unparsable", Severity::kError},
    {FindingCode::kFileChanged, "file.changed", Severity::kError},
    {FindingCode::kFileMissing, "file.missing", Severity::kError},
    {FindingCode::kFileUnreadable, "file.unreadable", Severity::kError},
    {FindingCode::kIndexEmpty, "index.empty", Severity::kError},
    {FindingCode::kIndexGarbage, "index.garbage", Severity::kError},
    {FindingCode::kIndexNestedStart, "index.nested-start", Severity::kError},
    {FindingCode::kIndexNoStart, "index.no-start", Severity::kError},
    {FindingCode::kIndexNoStop, "index.no-stop", Severity::kError},
    {FindingCode::kIndexStaleTail, "index.stale-tail", Severity::kError},
    {FindingCode::kIndexTooManySessions, "index.too-many-sessions", Severity::kWarning},
    {FindingCode::kIndexTruncatedTail, "index.truncated-tail", Severity::kError},
    {FindingCode::kIndexVideoWithoutChannel, "index.video-without-channel", Severity::kError},
    {FindingCode::kReplayDroppedFrames, "replay.dropped-frames", Severity::kWarning},
    {FindingCode::kReplayFailed, "replay.failed", Severity::kError},
    {FindingCode::kReplayFillerAudioOnly, "replay.filler-audio-only", Severity::kInfo},
    {FindingCode::kReplayFillerGap, "replay.filler-gap", Severity::kWarning},
    {FindingCode::kReplayFillerWaiting, "replay.filler-waiting", Severity::kWarning},
    {FindingCode::kReplayNothing, "replay.nothing", Severity::kWarning},
    {FindingCode::kReplayOffset, "replay.offset", Severity::kWarning},
    {FindingCode::kReplayReadOnly, "replay.read-only", Severity::kInfo},
    {FindingCode::kReplayRefused, "replay.refused", Severity::kError},
    {FindingCode::kReplayStillShare, "replay.still-share", Severity::kInfo},
    {FindingCode::kTimelineDamagedLine, "timeline.damaged-line", Severity::kWarning},
    {FindingCode::kTimelineMissingLine, "timeline.missing-line", Severity::kWarning},
    {FindingCode::kTimelineNoRecord, "timeline.no-record", Severity::kWarning},
    {FindingCode::kTimelineUnreadable, "timeline.unreadable", Severity::kWarning},
    {FindingCode::kTimelineVersion, "timeline.version", Severity::kWarning},
    {FindingCode::kVideoAttributes, "video.attributes", Severity::kWarning},
    {FindingCode::kVideoBadSps, "video.bad-sps", Severity::kWarning},
    {FindingCode::kVideoFrameTooLarge, "video.frame-too-large", Severity::kWarning},
    {FindingCode::kVideoInvalidNal, "video.invalid-nal", Severity::kWarning},
    {FindingCode::kVideoNoAttributes, "video.no-attributes", Severity::kWarning},
    {FindingCode::kVideoNoKeyAfterSwitch, "video.no-key-after-switch", Severity::kWarning},
    {FindingCode::kVideoNoParameterSets, "video.no-parameter-sets", Severity::kWarning},
    {FindingCode::kVideoNoStartCode, "video.no-start-code", Severity::kWarning},
    {FindingCode::kVideoPictureOrder, "video.picture-order", Severity::kWarning},
    {FindingCode::kVideoSizeMismatch, "video.size-mismatch", Severity::kWarning},
    {FindingCode::kVideoSpsNotExamined, "video.sps-not-examined", Severity::kInfo},
};
static_assert(sizeof(kCodes) / sizeof(kCodes[0]) == kFindingCodeCount, "one row for each code");

constexpr bool RowsStandInOrder() {
  for (size_t i = 0; i < kFindingCodeCount; ++i) {
    if (kCodes[i].code != static_cast<FindingCode>(i)) return false;
  }
  return true;
}
static_assert(RowsStandInOrder(), "the rows stand in the order of the enumeration");

}  // namespace

const char* SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kInfo:
      return "info";
    case Severity::kWarning:
      return "warning";
    case Severity::kError:
      break;
  }
  return "error";
}

const char* FindingCodeName(FindingCode code) { return kCodes[static_cast<size_t>(code)].name; }

Severity FindingCodeSeverity(FindingCode code) {
  return kCodes[static_cast<size_t>(code)].severity;
}

void FindingList::Add(FindingCode code, std::optional<int64_t> time_us, std::string text) {
  if (counts_[static_cast<size_t>(code)]++ >= kKeptPerCode) return;
  kept_.push_back({code, time_us, std::move(text)});
}

std::vector<Finding> FindingList::Sorted() const {
  std::vector<Finding> sorted = kept_;
  std::sort(sorted.begin(), sorted.end(), [](const Finding& a, const Finding& b) {
    return std::tie(a.time_us, a.code, a.text) < std::tie(b.time_us, b.code, b.text);
  });
  return sorted;
}

uint64_t FindingList::count(Severity severity) const {
  uint64_t total = 0;
  for (const CodeRow& row : kCodes) {
    if (row.severity == severity) total += count(row.code);
  }
  return total;
}

Severity FindingList::Verdict() const {
  if (count(Severity::kError) > 0) return Severity::kError;
  return count(Severity::kWarning) > 0 ? Severity::kWarning : Severity::kInfo;
}

}  // namespace kxrtc_host
