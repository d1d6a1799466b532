#include "host/scenario/participant_state.h"

#include <gtest/gtest.h>

namespace kxrtc_host {
namespace {

struct StateCase {
  const char* name;
  ParticipantState before;
  ScenarioAction action;
  const char* problem;  // Null: it fits.
  ParticipantState after;
};

// present, camera on, share on, muted
constexpr ParticipantState kAway = {};
constexpr ParticipantState kJoined = {true, true, false, false};
constexpr ParticipantState kDark = {true, false, false, false};
constexpr ParticipantState kSharing = {true, true, true, false};
constexpr ParticipantState kMuted = {true, true, false, true};

class ParticipantStateTest : public ::testing::TestWithParam<StateCase> {};

TEST_P(ParticipantStateTest, FollowsTheAction) {
  ScenarioParticipant participant;
  participant.camera = MediaSpec();
  participant.share = MediaSpec();
  ParticipantState state = GetParam().before;
  EXPECT_STREQ(state.Apply(participant, GetParam().action), GetParam().problem);
  EXPECT_TRUE(state == GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    All, ParticipantStateTest,
    ::testing::Values(
        StateCase{"Join", kAway, ScenarioAction::kJoin, nullptr, kJoined},
        StateCase{"JoinAgain", kMuted, ScenarioAction::kJoin, "is already present", kMuted},
        StateCase{"Leave", kSharing, ScenarioAction::kLeave, nullptr, kAway},
        StateCase{"LeaveAway", kAway, ScenarioAction::kLeave, "is not present", kAway},
        StateCase{"CameraOff", kJoined, ScenarioAction::kCameraOff, nullptr, kDark},
        StateCase{"CameraOffAgain", kDark, ScenarioAction::kCameraOff, "the camera is already off",
                  kDark},
        StateCase{"CameraOn", kDark, ScenarioAction::kCameraOn, nullptr, kJoined},
        StateCase{"CameraOnAgain", kJoined, ScenarioAction::kCameraOn, "the camera is already on",
                  kJoined},
        StateCase{"ShareOn", kJoined, ScenarioAction::kShareOn, nullptr, kSharing},
        StateCase{"ShareOnAgain", kSharing, ScenarioAction::kShareOn, "the share is already on",
                  kSharing},
        StateCase{"ShareOff", kSharing, ScenarioAction::kShareOff, nullptr, kJoined},
        StateCase{"ShareOffAgain", kJoined, ScenarioAction::kShareOff, "the share is already off",
                  kJoined},
        StateCase{"Mute", kJoined, ScenarioAction::kMute, nullptr, kMuted},
        StateCase{"MuteAgain", kMuted, ScenarioAction::kMute, "is already muted", kMuted},
        StateCase{"Unmute", kMuted, ScenarioAction::kUnmute, nullptr, kJoined},
        StateCase{"UnmuteAgain", kJoined, ScenarioAction::kUnmute, "is not muted", kJoined},
        StateCase{"MuteAway", kAway, ScenarioAction::kMute, "is not present", kAway}),
    [](const auto& test) { return test.param.name; });

TEST(ParticipantStateTest, NeedsTheDeviceThatIsTurnedOn) {
  const ScenarioParticipant participant;
  ParticipantState state;
  EXPECT_EQ(state.Apply(participant, ScenarioAction::kJoin), nullptr);
  EXPECT_FALSE(state.camera_on);
  EXPECT_STREQ(state.Apply(participant, ScenarioAction::kCameraOn), "there is no camera");
  EXPECT_STREQ(state.Apply(participant, ScenarioAction::kShareOn), "there is no share");
}

}  // namespace
}  // namespace kxrtc_host
