#include "record/check/record_summary.h"

#include <tuple>

namespace kxrtc_host {

bool VideoFormat::operator<(const VideoFormat& other) const {
  return std::tie(profile_idc, level_idc, width, height) <
         std::tie(other.profile_idc, other.level_idc, other.width, other.height);
}

const char* FillerReasonName(FillerReason reason) {
  switch (reason) {
    case FillerReason::kAudioOnly:
      return "audio only";
    case FillerReason::kWaitingForKeyFrame:
      return "waiting for a key frame";
    case FillerReason::kGap:
      return "gap over 5 s";
    case FillerReason::kStillShare:
      return "still share";
    case FillerReason::kNone:
      break;
  }
  return "";
}

}  // namespace kxrtc_host
