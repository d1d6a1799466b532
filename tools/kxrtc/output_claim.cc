#include "tools/kxrtc/output_claim.h"

#include "files/output_file.h"
#include "host/result/mp4_mark.h"
#include "record/repair/repaired_copy.h"

namespace kxrtc_tool {

using kxrtc_host::Mp4MarkState;
using kxrtc_host::OutputLock;

OutputClaim::Kind OutputClaim::Look(const std::string& output, const std::string& origin,
                                    When when) {
  if (when == When::kAlways) return Kind::kMake;
  std::string made_of;
  switch (kxrtc_host::ReadMp4Mark(output, &made_of)) {
    case Mp4MarkState::kIntact:
      replaces_ = made_of != origin || when == When::kIfOurs;
      text_ = output + " is up to date";
      return replaces_ ? Kind::kMake : Kind::kUpToDate;
    case Mp4MarkState::kChanged:
      text_ = output + " was changed after kxrtc transcode made it; --force replaces it";
      return Kind::kForeign;
    case Mp4MarkState::kNone:
      text_ = output + " was not made by kxrtc transcode, or not to its end; --force replaces it";
      return Kind::kForeign;
    case Mp4MarkState::kNoFile:
      break;  // What stands there instead, the writer finds out.
  }
  return Kind::kMake;
}

OutputClaim::Kind OutputClaim::Take(const std::string& output, const std::string& origin, When when,
                                    bool keeps_up_to_date) {
  const Kind kind = Look(output, origin, when);
  // A run that was killed leaves its lock, and perhaps a part of a file or a repaired copy.
  const bool is_left_over = lock_.LockLeftOver(output) == OutputLock::Result::kLocked;
  if (is_left_over) {
    kxrtc_host::OutputFile::RemoveAbandoned(output);
    kxrtc_host::RepairedCopy::RemoveAbandoned(output);
  }
  if (kind == Kind::kUpToDate && !keeps_up_to_date) return kind;
  if (!is_left_over && lock_.Lock(output) == OutputLock::Result::kTaken) {
    text_ = output + " is being made by " + lock_.holder();
    return Kind::kBusy;
  }
  // Somebody may have finished it in the meantime.
  return Look(output, origin, when);
}

}  // namespace kxrtc_tool
