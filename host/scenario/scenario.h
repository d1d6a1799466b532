// A scripted conference: who takes part, with which media, and who does what when
// (docs/scenario.md describes the JSON form).
// Threads: plain data.
#ifndef HOST_SCENARIO_SCENARIO_H_
#define HOST_SCENARIO_SCENARIO_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kxrtc_host {

// One thing that libavformat can open: a file or a live stream.
struct MediaSpec {
  std::string source;     // A path or an address such as "rtp://...".
  std::string format;     // Name of the demuxer; empty: libavformat detects it.
  double frame_rate = 0;  // Pictures a second of a raw stream without timing; 0 leaves it unset.
  bool loop = false;      // Starts again at its end. Files only.
  bool live = false;      // Arrives in real time and cannot be rewound.
};

enum class ScenarioAction {
  kJoin,
  kLeave,
  kCameraOn,
  kCameraOff,
  kShareOn,
  kShareOff,
  kMute,
  kUnmute,
};

// The action's name in a scenario, e.g. "camera_on".
const char* ScenarioActionName(ScenarioAction action);

struct ScenarioEvent {
  int64_t at_us = 0;  // Since the start of the conference.
  ScenarioAction action = ScenarioAction::kJoin;
};

struct ScenarioParticipant {
  uint32_t user_id = 0;  // Unique, not 0.
  std::string name;      // UTF-8.
  bool local = false;    // True for at most one participant.
  std::optional<MediaSpec> camera;
  std::optional<MediaSpec> share;
  std::optional<MediaSpec> microphone;  // Own source of sound.
  bool microphone_from_camera = false;  // The sound of the camera is used, if there is any.
  std::vector<ScenarioEvent> events;    // In time order; the first one is a join.
};

struct Scenario {
  std::string title;  // Of the conference; may be empty.
  std::optional<int64_t> duration_us;
  std::vector<ScenarioParticipant> participants;  // At least one.
};

}  // namespace kxrtc_host

#endif  // HOST_SCENARIO_SCENARIO_H_
