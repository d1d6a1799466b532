#include "record/check/transcode_kind.h"

namespace kxrtc_host {

const char* TranscodeKindName(TranscodeKind kind) {
  switch (kind) {
    case TranscodeKind::kWritten:
      return "written";
    case TranscodeKind::kWrittenInPart:
      return "written-in-part";
    case TranscodeKind::kStopped:
      return "stopped";
    case TranscodeKind::kRecordUnreadable:
      return "record-unreadable";
    case TranscodeKind::kRecordDamaged:
      return "record-damaged";
    case TranscodeKind::kNothingToPlay:
      return "nothing-to-play";
    case TranscodeKind::kOutputRefused:
      return "output-refused";
    case TranscodeKind::kOutputFailed:
      break;
  }
  return "output-failed";
}

}  // namespace kxrtc_host
