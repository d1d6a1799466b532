#include "kxrtc/recording/speaker_channel_selector.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kxrtc {
namespace {

using Channels = std::vector<VideoChannelInfo>;
using Voices = std::vector<VoiceActivity>;

// Channels and users of the tables below, named after their owners.
const VideoChannelInfo kNobody = {0, 0, 0};
const VideoChannelInfo kAnn = {11, 1, 2};
const VideoChannelInfo kBob = {12, 2, 2};
const VideoChannelInfo kAnnsDesktop = {21, 1, 3};
const VideoChannelInfo kBobsDesktop = {22, 2, 3};
const VideoChannelInfo kAnnWithoutVideo = {0, 1, 0};
const VideoChannelInfo kEveWithoutVideo = {0, 5, 0};

const char kTurnedOff[] = ", said: current recording video is turn off";
const char kOtherSpeaker[] = ", said: current recording user is not a speaker, SwitchChannel";
const char kNoMicrophone[] = ", said: current recording user is not enable mic, SwitchChannel";
const char kUnmuted[] = ", said: current user unmute video, SwitchChannel";
const char kNobodyYet[] = ", said: current recording user is invalid";
const char kFoundSpeaker[] =
    ", said: current recording user is not a speaker, and found another speaker, SwitchChannel";

std::string Describe(const ChannelDecision& decision) {
  switch (decision.action) {
    case ChannelDecision::Action::kKeep:
      return "keep";
    case ChannelDecision::Action::kUnknownChannel:
      return "unknown channel";
    case ChannelDecision::Action::kSwitch:
      break;
  }
  const VideoChannelInfo& to = decision.channel;
  std::string text = "switch to ssrc " + std::to_string(to.ssrc) + " user " +
                     std::to_string(to.user_id) + " type " + std::to_string(to.type);
  if (decision.message) text += std::string(", said: ") + decision.message;
  return text;
}

// What a conference looks like before something happens.
struct Conference {
  Channels local;
  Channels remote;
  Voices voices;
};

SpeakerChannelSelector Prepare(const Conference& conference) {
  SpeakerChannelSelector selector;
  EXPECT_EQ("keep", Describe(selector.UpdateVideoMapping(true, conference.local, nullptr)));
  EXPECT_EQ("keep", Describe(selector.UpdateVideoMapping(false, conference.remote, nullptr)));
  EXPECT_EQ("keep", Describe(selector.UpdateVoiceActivity(conference.voices, nullptr)));
  return selector;
}

struct KeyFrameCase {
  const char* name;
  Conference conference;
  VideoChannelInfo recorded;
  uint32_t key_frame_ssrc;
  std::string decision;
};

class KeyFrameTest : public ::testing::TestWithParam<KeyFrameCase> {};

TEST_P(KeyFrameTest, Decides) {
  const SpeakerChannelSelector selector = Prepare(GetParam().conference);
  EXPECT_EQ(GetParam().decision,
            Describe(selector.OnKeyFrame(GetParam().key_frame_ssrc, GetParam().recorded)));
}

const Voices kAllSilent = {{1, false}, {2, false}};
const Voices kAnnSpeaks = {{1, true}, {2, false}};
const Voices kBobSpeaks = {{1, false}, {2, true}};
const Voices kBothSpeak = {{1, true}, {2, true}};

INSTANTIATE_TEST_SUITE_P(
    Unknown, KeyFrameTest,
    ::testing::Values(
        KeyFrameCase{"InNoTable", {{kAnn}, {kBob}, kBobSpeaks}, kNobody, 13, "unknown channel"},
        KeyFrameCase{"WithoutAnyTable", {}, kNobody, 0, "unknown channel"},
        KeyFrameCase{"OfTheRecordedChannel", {{}, {kBob}, {}}, kAnn, 11, "unknown channel"}),
    [](const auto& param_info) { return param_info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    NobodyRecorded, KeyFrameTest,
    ::testing::Values(KeyFrameCase{"SilentLocalUser",
                                   {{kAnn}, {}, kAllSilent},
                                   kNobody,
                                   11,
                                   std::string("switch to ssrc 11 user 1 type 2") + kNobodyYet},
                      KeyFrameCase{"UserWithoutMicrophone",
                                   {{}, {kBob}, {}},
                                   kNobody,
                                   12,
                                   std::string("switch to ssrc 12 user 2 type 2") + kNobodyYet},
                      KeyFrameCase{"SpeakingUser",
                                   {{}, {kBob}, kBobSpeaks},
                                   kNobody,
                                   12,
                                   std::string("switch to ssrc 12 user 2 type 2") + kFoundSpeaker},
                      KeyFrameCase{"DesktopIsTakenWithoutAWord",
                                   {{}, {kBobsDesktop}, {}},
                                   kNobody,
                                   22,
                                   "switch to ssrc 22 user 2 type 3"},
                      KeyFrameCase{"LocalEntryWinsWhenBothSidesHaveTheSsrc",
                                   {{{11, 1, 2}}, {{11, 2, 2}}, {}},
                                   kNobody,
                                   11,
                                   std::string("switch to ssrc 11 user 1 type 2") + kNobodyYet}),
    [](const auto& param_info) { return param_info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    CameraRecorded, KeyFrameTest,
    ::testing::Values(
        KeyFrameCase{"OwnKeyFrame", {{kAnn}, {kBob}, kBobSpeaks}, kAnn, 11, "keep"},
        KeyFrameCase{"OtherSilentUser", {{kAnn}, {kBob}, kAllSilent}, kAnn, 12, "keep"},
        KeyFrameCase{"OtherUserWithoutMicrophone", {{kAnn}, {kBob}, {}}, kAnn, 12, "keep"},
        KeyFrameCase{"BothSpeak", {{kAnn}, {kBob}, kBothSpeak}, kAnn, 12, "keep"},
        KeyFrameCase{"OnlyTheRecordedUserSpeaks", {{kAnn}, {kBob}, kAnnSpeaks}, kAnn, 12, "keep"},
        KeyFrameCase{"OnlyTheOtherUserSpeaks",
                     {{kAnn}, {kBob}, kBobSpeaks},
                     kAnn,
                     12,
                     std::string("switch to ssrc 12 user 2 type 2") + kFoundSpeaker},
        KeyFrameCase{"RecordedUserHasNoMicrophone",
                     {{kAnn}, {kBob}, {{2, true}}},
                     kAnn,
                     12,
                     std::string("switch to ssrc 12 user 2 type 2") + kFoundSpeaker},
        KeyFrameCase{"SecondCameraOfTheSilentRecordedUser",
                     {{kAnn, {13, 1, 2}}, {}, kAllSilent},
                     kAnn,
                     13,
                     "keep"},
        KeyFrameCase{"SameSsrcNowOfASpeakingUser",
                     {{}, {{11, 2, 2}}, kBobSpeaks},
                     kAnn,
                     11,
                     std::string("switch to ssrc 11 user 2 type 2") + kFoundSpeaker},
        KeyFrameCase{"OwnDesktop",
                     {{kAnn, kAnnsDesktop}, {}, kAnnSpeaks},
                     kAnn,
                     21,
                     "switch to ssrc 21 user 1 type 3"},
        KeyFrameCase{"DesktopOfASilentUserWhileSpeaking",
                     {{kAnn}, {kBobsDesktop}, kAnnSpeaks},
                     kAnn,
                     22,
                     "switch to ssrc 22 user 2 type 3"}),
    [](const auto& param_info) { return param_info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    DesktopRecorded, KeyFrameTest,
    ::testing::Values(
        KeyFrameCase{"OwnKeyFrame", {{kAnnsDesktop}, {}, {}}, kAnnsDesktop, 21, "keep"},
        KeyFrameCase{
            "CameraOfASpeaker", {{kAnnsDesktop}, {kBob}, kBobSpeaks}, kAnnsDesktop, 12, "keep"},
        KeyFrameCase{"OtherDesktop",
                     {{kAnnsDesktop}, {kBobsDesktop}, kBobSpeaks},
                     kAnnsDesktop,
                     22,
                     "keep"}),
    [](const auto& param_info) { return param_info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    SpeakerWithoutVideoRecorded, KeyFrameTest,
    ::testing::Values(
        KeyFrameCase{"TurnsVideoOnWhileSpeaking",
                     {{kAnn}, {}, kAnnSpeaks},
                     kAnnWithoutVideo,
                     11,
                     std::string("switch to ssrc 11 user 1 type 2") + kUnmuted},
        KeyFrameCase{"TurnsVideoOnWhileSilent",
                     {{kAnn}, {}, kBobSpeaks},
                     kAnnWithoutVideo,
                     11,
                     std::string("switch to ssrc 11 user 1 type 2") + kUnmuted},
        KeyFrameCase{"TurnsDesktopOn",
                     {{kAnnsDesktop}, {}, kAnnSpeaks},
                     kAnnWithoutVideo,
                     21,
                     "switch to ssrc 21 user 1 type 3"},
        KeyFrameCase{
            "OtherCameraWhileSpeaking", {{}, {kBob}, kBothSpeak}, kAnnWithoutVideo, 12, "keep"},
        KeyFrameCase{"OtherSpeakersCameraWhileSilent",
                     {{}, {kBob}, kBobSpeaks},
                     kAnnWithoutVideo,
                     12,
                     std::string("switch to ssrc 12 user 2 type 2") + kFoundSpeaker}),
    [](const auto& param_info) { return param_info.param.name; });

struct MappingCase {
  const char* name;
  Conference conference;
  VideoChannelInfo recorded;
  bool local;
  Channels channels;
  std::string decision;
};

class MappingTest : public ::testing::TestWithParam<MappingCase> {};

TEST_P(MappingTest, Decides) {
  SpeakerChannelSelector selector = Prepare(GetParam().conference);
  EXPECT_EQ(GetParam().decision, Describe(selector.UpdateVideoMapping(
                                     GetParam().local, GetParam().channels, &GetParam().recorded)));
}

INSTANTIATE_TEST_SUITE_P(
    Updates, MappingTest,
    ::testing::Values(
        MappingCase{"RecordedChannelStays", {{kAnn}, {}, {}}, kAnn, true, {kBob, kAnn}, "keep"},
        MappingCase{"RecordedChannelOnTheOtherSide", {{kAnn}, {}, {}}, kAnn, false, {}, "keep"},
        MappingCase{"NobodyIsRecorded", {{kAnn}, {}, {}}, kNobody, true, {}, "keep"},
        MappingCase{
            "SpeakerWithoutVideoIsRecorded", {{kAnn}, {}, {}}, kAnnWithoutVideo, true, {}, "keep"},
        MappingCase{"RecordedVideoGoesUserIsSpeaking",
                    {{kAnn}, {}, kAnnSpeaks},
                    kAnn,
                    true,
                    {},
                    std::string("switch to ssrc 0 user 1 type 0") + kTurnedOff},
        MappingCase{"RecordedVideoGoesUserIsSilent",
                    {{kAnn}, {}, kAllSilent},
                    kAnn,
                    true,
                    {kBob},
                    std::string("switch to ssrc 0 user 1 type 0") + kTurnedOff},
        MappingCase{"RecordedVideoGoesUserHasNoMicrophone",
                    {{}, {kBob}, {{1, true}}},
                    kBob,
                    false,
                    {},
                    std::string("switch to ssrc 0 user 0 type 0") + kTurnedOff},
        MappingCase{"RecordedDesktopGoes",
                    {{}, {kBobsDesktop}, kAllSilent},
                    kBobsDesktop,
                    false,
                    {kBob},
                    std::string("switch to ssrc 0 user 2 type 0") + kTurnedOff},
        MappingCase{"RecordedSsrcLosesItsType",
                    {{kAnn}, {}, kAllSilent},
                    kAnn,
                    true,
                    {{11, 1, 1}},
                    std::string("switch to ssrc 0 user 1 type 0") + kTurnedOff},
        MappingCase{"RecordedSsrcChangesItsUser",
                    {{kAnn}, {}, kAllSilent},
                    kAnn,
                    true,
                    {{11, 2, 2}},
                    "keep"}),
    [](const auto& param_info) { return param_info.param.name; });

struct VoiceCase {
  const char* name;
  Conference conference;
  VideoChannelInfo recorded;
  Voices voices;
  std::string decision;
};

class VoiceTest : public ::testing::TestWithParam<VoiceCase> {};

TEST_P(VoiceTest, Decides) {
  SpeakerChannelSelector selector = Prepare(GetParam().conference);
  EXPECT_EQ(GetParam().decision,
            Describe(selector.UpdateVoiceActivity(GetParam().voices, &GetParam().recorded)));
}

INSTANTIATE_TEST_SUITE_P(
    Updates, VoiceTest,
    ::testing::Values(
        VoiceCase{"RecordedUserSpeaksToo", {{kAnn}, {}, {}}, kAnn, {{1, true}, {5, true}}, "keep"},
        VoiceCase{"SpeakerWithVideoWaitsForAKeyFrame",
                  {{kAnn}, {kBob}, {}},
                  kAnn,
                  {{1, false}, {2, true}},
                  "keep"},
        VoiceCase{"SpeakerWithLocalVideoWaitsToo",
                  {{kAnn}, {kBob}, {}},
                  kBob,
                  {{1, true}, {2, false}},
                  "keep"},
        VoiceCase{"SpeakerWithoutVideoIsAdopted",
                  {{kAnn}, {}, {}},
                  kAnn,
                  {{1, false}, {5, true}},
                  std::string("switch to ssrc 0 user 5 type 0") + kOtherSpeaker},
        VoiceCase{"LastSpeakerWithoutVideoOfTheList",
                  {{kAnn}, {}, {}},
                  kAnn,
                  {{6, true}, {5, true}, {7, false}},
                  std::string("switch to ssrc 0 user 5 type 0") + kOtherSpeaker},
        VoiceCase{"AlsoWhenNobodyIsRecorded",
                  {},
                  kNobody,
                  {{5, true}},
                  std::string("switch to ssrc 0 user 5 type 0") + kOtherSpeaker},
        VoiceCase{"UserZeroIsNobody", {}, kNobody, {{0, true}}, "keep"},
        VoiceCase{"NobodySpeaksNobodyIsRecorded", {}, kNobody, {{5, false}}, "keep"},
        VoiceCase{
            "RecordedDesktopStays", {{kAnnsDesktop}, {}, {}}, kAnnsDesktop, {{5, true}}, "keep"},
        VoiceCase{"RecordedCameraWithoutMicrophoneStays", {{kAnn}, {}, {}}, kAnn, {}, "keep"},
        VoiceCase{"SpeakerWithoutVideoFallsSilent", {}, kEveWithoutVideo, {{5, false}}, "keep"},
        VoiceCase{"SpeakerWithoutVideoLeaves",
                  {{}, {}, {{5, true}}},
                  kEveWithoutVideo,
                  {{1, false}},
                  std::string("switch to ssrc 0 user 0 type 0") + kNoMicrophone},
        VoiceCase{"SpeakerWithoutVideoLeavesToAnother",
                  {},
                  kEveWithoutVideo,
                  {{6, true}},
                  std::string("switch to ssrc 0 user 6 type 0") + kOtherSpeaker},
        VoiceCase{
            "LaterLineOfTheSameUserCounts", {}, kEveWithoutVideo, {{5, false}, {5, true}}, "keep"}),
    [](const auto& param_info) { return param_info.param.name; });

struct ChannelCase {
  const char* name;
  VideoChannelInfo channel;
  const char* decision;
};

class ChannelTest : public ::testing::TestWithParam<ChannelCase> {};

TEST_P(ChannelTest, IsKnownOnlyWithSsrcUserAndVideoType) {
  const SpeakerChannelSelector selector = Prepare({{GetParam().channel}, {}, {{1, true}}});
  EXPECT_EQ(GetParam().decision,
            Describe(selector.OnKeyFrame(GetParam().channel.ssrc, kAnnWithoutVideo))
                .substr(0, std::string(GetParam().decision).size()));
}

INSTANTIATE_TEST_SUITE_P(Mapped, ChannelTest,
                         ::testing::Values(ChannelCase{"Camera", {11, 1, 2}, "switch to ssrc 11"},
                                           ChannelCase{"Desktop", {11, 1, 3}, "switch to ssrc 11"},
                                           ChannelCase{"NoSsrc", {0, 1, 2}, "unknown channel"},
                                           ChannelCase{"NoUser", {11, 0, 2}, "unknown channel"},
                                           ChannelCase{"TypeZero", {11, 1, 0}, "unknown channel"},
                                           ChannelCase{"TypeOne", {11, 1, 1}, "unknown channel"},
                                           ChannelCase{"TypeFour", {11, 1, 4}, "unknown channel"}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(SpeakerChannelSelectorTest, TakesTheLaterOfTwoChannelsWithOneSsrcAndRemembersBothUsers) {
  SpeakerChannelSelector selector = Prepare({{{11, 1, 2}, {11, 2, 3}}, {}, {}});
  EXPECT_EQ("switch to ssrc 11 user 2 type 3", Describe(selector.OnKeyFrame(11, kNobody)));
  EXPECT_EQ("keep", Describe(selector.UpdateVoiceActivity({{1, true}, {2, true}}, &kNobody)));
}

TEST(SpeakerChannelSelectorTest, ReplacesOneSideAndLeavesTheOther) {
  SpeakerChannelSelector selector = Prepare({{kAnn}, {kBob}, {}});
  EXPECT_EQ("keep", Describe(selector.UpdateVideoMapping(false, {kBobsDesktop}, &kNobody)));
  EXPECT_EQ("unknown channel", Describe(selector.OnKeyFrame(12, kNobody)));
  EXPECT_EQ("switch to ssrc 22 user 2 type 3", Describe(selector.OnKeyFrame(22, kNobody)));
  EXPECT_NE("unknown channel", Describe(selector.OnKeyFrame(11, kNobody)));
  // Ann's camera is gone with an empty update; her voice makes her a candidate from then on.
  EXPECT_EQ("keep", Describe(selector.UpdateVideoMapping(true, {}, &kNobody)));
  EXPECT_EQ("unknown channel", Describe(selector.OnKeyFrame(11, kNobody)));
  EXPECT_EQ(std::string("switch to ssrc 0 user 1 type 0") + kOtherSpeaker,
            Describe(selector.UpdateVoiceActivity({{1, true}}, &kNobody)));
}

TEST(SpeakerChannelSelectorTest, RefreshesTheTablesWhileNothingIsRecorded) {
  SpeakerChannelSelector selector = Prepare({});
  EXPECT_EQ("keep", Describe(selector.UpdateVoiceActivity({{5, true}}, nullptr)));
  EXPECT_EQ("keep", Describe(selector.UpdateVideoMapping(true, {{15, 5, 2}}, nullptr)));
  EXPECT_EQ(std::string("switch to ssrc 15 user 5 type 2") + kFoundSpeaker,
            Describe(selector.OnKeyFrame(15, kNobody)));
}

TEST(SpeakerChannelSelectorTest, ForgetsEverythingWhenCleared) {
  SpeakerChannelSelector selector = Prepare({{kAnn}, {kBob}, kBothSpeak});
  selector.Clear();
  EXPECT_EQ("unknown channel", Describe(selector.OnKeyFrame(11, kNobody)));
  EXPECT_EQ("unknown channel", Describe(selector.OnKeyFrame(12, kNobody)));
  EXPECT_EQ(std::string("switch to ssrc 0 user 0 type 0") + kTurnedOff,
            Describe(selector.UpdateVideoMapping(true, {}, &kAnn)));
}

}  // namespace
}  // namespace kxrtc
