#include "host/scenario/participant_state.h"

namespace kxrtc_host {
namespace {

// Sets `flag` to `wanted`; an error if it already has this value.
const char* Switch(bool* flag, bool wanted, const char* problem) {
  if (*flag == wanted) return problem;
  *flag = wanted;
  return nullptr;
}

}  // namespace

const char* ParticipantState::Apply(const ScenarioParticipant& participant, ScenarioAction action) {
  if (action == ScenarioAction::kJoin) {
    if (present) return "is already present";
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
      return Switch(&camera_on, true, "the camera is already on");
    case ScenarioAction::kCameraOff:
      return Switch(&camera_on, false, "the camera is already off");
    case ScenarioAction::kShareOn:
      if (!participant.share) return "there is no share";
      return Switch(&share_on, true, "the share is already on");
    case ScenarioAction::kShareOff:
      return Switch(&share_on, false, "the share is already off");
    case ScenarioAction::kMute:
      return Switch(&muted, true, "is already muted");
    case ScenarioAction::kUnmute:
      return Switch(&muted, false, "is not muted");
  }
  return "is not an action";
}

}  // namespace kxrtc_host
