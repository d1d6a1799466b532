// The findings about a record, with stable codes (docs/tool_records.md explains each).
// Threads: a list belongs to one thread at a time.
#ifndef RECORD_CHECK_FINDING_H_
#define RECORD_CHECK_FINDING_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kxrtc_host {

enum class Severity { kInfo, kWarning, kError };

// "info", "warning" or "error".
const char* SeverityName(Severity severity);

// One per row of the table in finding.cc, in its order.
enum class FindingCode {
  kAudioCadence,
  kAudioFrameLength,
  kAudioLeftOut,
  kAudioNotAdts,
  kAudioSampleRate,
  kAudioUndecodable,
  kClockBackwardStep,
  kClockForwardStep,
  kClockOutOfOrder,
  kDataEmptyFrame,
  kDataHole,
  kDataOverlap,
  kDataPastEnd,
  kDataStaleTail,
  kDescriptorAudioChannels,
  kDescriptorFlags,
  kDescriptorMember,
  kDescriptorSessionCount,
  kDescriptorSessionMismatch,
  kDescriptorTooLarge,
  kDescriptorUnparsable,
  kFileChanged,
  kFileMissing,
  kFileUnreadable,
  kIndexEmpty,
  kIndexGarbage,
  kIndexNestedStart,
  kIndexNoStart,
  kIndexNoStop,
  kIndexStaleTail,
  kIndexTooManySessions,
  kIndexTruncatedTail,
  kIndexVideoWithoutChannel,
  kReplayDroppedFrames,
  kReplayFailed,
  kReplayFillerAudioOnly,
  kReplayFillerGap,
  kReplayFillerWaiting,
  kReplayNothing,
  kReplayOffset,
  kReplayReadOnly,
  kReplayRefused,
  kReplayStillShare,
  kTimelineDamagedLine,
  kTimelineMissingLine,
  kTimelineNoRecord,
  kTimelineUnreadable,
  kTimelineVersion,
  kVideoAttributes,
  kVideoBadSps,
  kVideoFrameTooLarge,
  kVideoInvalidNal,
  kVideoNoAttributes,
  kVideoNoKeyAfterSwitch,
  kVideoNoParameterSets,
  kVideoNoStartCode,
  kVideoPictureOrder,
  kVideoSizeMismatch,
  kVideoSpsNotExamined,
  kCount,
};
inline constexpr size_t kFindingCodeCount = static_cast<size_t>(FindingCode::kCount);

// The stable name, e.g. "index.truncated-tail", and the severity, which belongs to the code.
const char* FindingCodeName(FindingCode code);
Severity FindingCodeSeverity(FindingCode code);

struct Finding {
  FindingCode code = FindingCode::kCount;
  std::optional<int64_t> time_us;  // Recorder time.
  std::string text;
};

// Keeps the first findings of each code and counts the rest, so that memory stays bounded for
// any record.
class FindingList {
 public:
  static constexpr uint64_t kKeptPerCode = 100;

  void Add(FindingCode code, std::optional<int64_t> time_us, std::string text);

  // The kept ones: those without a time first, then by time, code and text.
  std::vector<Finding> Sorted() const;

  // All findings of a code, kept or not; all of a severity; the worst of them.
  uint64_t count(FindingCode code) const { return counts_[static_cast<size_t>(code)]; }
  uint64_t count(Severity severity) const;
  bool empty() const { return kept_.empty(); }

  // The worst severity; kInfo when there is no finding.
  Severity Verdict() const;

 private:
  std::vector<Finding> kept_;
  std::array<uint64_t, kFindingCodeCount> counts_{};
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_FINDING_H_
