// What one participant has switched on.
// Threads: plain data.
#ifndef HOST_SCENARIO_PARTICIPANT_STATE_H_
#define HOST_SCENARIO_PARTICIPANT_STATE_H_

#include "host/scenario/scenario.h"

namespace kxrtc_host {

struct ParticipantState {
  bool present = false;
  bool camera_on = false;
  bool share_on = false;
  bool muted = false;

  // Applies `action` of `participant`. Null on success, otherwise the problem; the state is then
  // unchanged. After a join the camera (if there is one) is on, the share off and the microphone
  // open.
  const char* Apply(const ScenarioParticipant& participant, ScenarioAction action);

  bool operator==(const ParticipantState& other) const {
    return present == other.present && camera_on == other.camera_on && share_on == other.share_on &&
           muted == other.muted;
  }
};

}  // namespace kxrtc_host

#endif  // HOST_SCENARIO_PARTICIPANT_STATE_H_
