#include "host/conference/participant_state.h"

namespace kxrtc_host {
namespace {

// Turns `flag` to `wanted`, which has to be a change.
const char* Switch(bool* flag, bool wanted, const char* problem) {
  if (*flag == wanted) return problem;
  *flag = wanted;
  return nullptr;
}

}  // namespace

const char* ParticipantState::Apply(const ScenarioParticipant& participant, ScenarioAction action) {
  if (action == ScenarioAction::kJoin) {
    if (present) return "is present already";
    *this = ParticipantState();
    present = true;
    camera_on = participant.camera.has_value();
    return nullptr;
  }
  if (!present) return "is not present";
  switch (action) {
    case ScenarioAction::kJoin:
      break;
    case ScenarioAction::kLeave:
      *this = ParticipantState();
      return nullptr;
    case ScenarioAction::kCameraOn:
      if (!participant.camera) return "there is no camera";
      return Switch(&camera_on, true, "the camera is on already");
    case ScenarioAction::kCameraOff:
      return Switch(&camera_on, false, "the camera is off already");
    case ScenarioAction::kShareOn:
      if (!participant.share) return "there is no share";
      return Switch(&share_on, true, "the share is on already");
    case ScenarioAction::kShareOff:
      return Switch(&share_on, false, "the share is off already");
    case ScenarioAction::kMute:
      return Switch(&muted, true, "is muted already");
    case ScenarioAction::kUnmute:
      return Switch(&muted, false, "is not muted");
  }
  return "is not an action";
}

}  // namespace kxrtc_host
