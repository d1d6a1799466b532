// A scenario document: what is accepted can be played, what is refused names its place and leaves
// the scenario alone.
#include <set>
#include <string>

#include "fuzz/fuzz_input.h"
#include "host/scenario/participant_state.h"
#include "host/scenario/scenario_reader.h"

namespace {

using kx_fuzz::Check;

void CheckPlayable(const kxrtc_host::Scenario& scenario) {
  Check(!scenario.participants.empty(), "somebody takes part");
  std::set<uint32_t> users;
  int locals = 0;
  for (const auto& participant : scenario.participants) {
    Check(participant.user_id != 0 && users.insert(participant.user_id).second,
          "user ids are unique");
    locals += participant.local ? 1 : 0;
    Check(participant.camera || participant.share || participant.microphone, "there are media");
    Check(participant.camera || !participant.microphone_from_camera, "the sound has a source");
    kxrtc_host::ParticipantState state;
    int64_t last_us = 0;
    for (const auto& event : participant.events) {
      Check(event.at_us >= last_us, "events are in order");
      Check(state.Apply(participant, event.action) == nullptr, "events fit the state");
      last_us = event.at_us;
    }
  }
  Check(locals <= 1, "at most one is local");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  kxrtc_host::Scenario scenario;
  std::string error;
  if (kxrtc_host::ParseScenario(text, "s.json", &scenario, &error)) {
    Check(error.empty(), "a success has no error");
    CheckPlayable(scenario);
  } else {
    Check(error.compare(0, 7, "s.json:") == 0 && error.size() > 10, "the file is named");
    Check(error[7] >= '1' && error[7] <= '9', "the line is named");
    Check(scenario.participants.empty(), "a refused scenario is untouched");
  }
  return 0;
}
