// Fails each allocation and each start of a thread of every call into the recorder in turn.
#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "tests/testing/fault_injection.h"
#include "tests/testing/quiet_host.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::ErrorCounter;
using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::kThreadStartFaults;
using ::kx_testing::QuietFrame;
using ::kx_testing::QuietImage;
using ::kx_testing::QuietMixer;
using ::kx_testing::RecordedConference;
using ::kx_testing::RunWithFault;
using ::kx_testing::ThreadStartFault;

class RecorderInitializeSweepTest : public ::testing::TestWithParam<ThreadStartFault> {};

TEST_P(RecorderInitializeSweepTest, FailsAsIfNothingHadHappened) {
  const kx_testing::TempDir dir;
  ErrorCounter errors;
  QuietMixer mixer;
  SpeakerRecorder recorder;
  const std::string path = dir.path();
  bool initialized = false;
  FaultRun run;
  int nth = 1;
  const auto initialize = [&] { initialized = recorder.Initialize(path, &mixer, nullptr); };
  for (; (run = RunWithFault(GetParam().fault, nth, initialize)).failed; ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_EQ("", run.thrown);
    ASSERT_FALSE(initialized);
    ASSERT_EQ(1, errors.Take());
    ASSERT_EQ(0, mixer.handed_out);
    ASSERT_FALSE(recorder.MuteLocalMicrophone(true));
  }
  EXPECT_GT(nth, 1);
  EXPECT_TRUE(initialized);
  EXPECT_EQ(1, mixer.handed_out);
  EXPECT_TRUE(recorder.MuteLocalMicrophone(true));
  recorder.Finalize();
  EXPECT_EQ(0, errors.Take());
}

INSTANTIATE_TEST_SUITE_P(Faults, RecorderInitializeSweepTest,
                         ::testing::ValuesIn(kThreadStartFaults),
                         [](const auto& param_info) { return param_info.param.name; });

struct EntryCase {
  const char* name;
  std::function<bool(SpeakerRecorder*)> call;
};

const uint32_t kNumbers[] = {11, 12};
const PeerConnectionConductor::media_type kTypes[] = {PeerConnectionConductor::kCamera,
                                                      PeerConnectionConductor::kCamera};
const uint8_t kSpeaking[] = {1, 0};

class RecorderEntrySweepTest : public ::testing::TestWithParam<EntryCase> {};

TEST_P(RecorderEntrySweepTest, RefusesWhatItFindsNoMemoryFor) {
  RecordedConference conference;
  ASSERT_TRUE(conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr));
  conference.StartAndDrain();
  ErrorCounter errors;
  bool accepted = false;
  FaultRun run;
  int nth = 1;
  const auto call = [&] { accepted = GetParam().call(&conference.recorder); };
  for (; (run = RunWithFault(Fault::kAllocation, nth, call)).failed; ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_EQ("", run.thrown);
    ASSERT_FALSE(accepted);
    ASSERT_EQ(1, errors.Take());
    ASSERT_EQ(0U, conference.recorder.QueuedTasks());
  }
  EXPECT_TRUE(accepted);
  conference.recorder.Finalize();
}

INSTANTIATE_TEST_SUITE_P(
    Entries, RecorderEntrySweepTest,
    ::testing::Values(EntryCase{"Start", [](auto* recorder) { return recorder->StartRecording(); }},
                      EntryCase{"Stop", [](auto* recorder) { return recorder->StopRecording(); }},
                      EntryCase{"Mute",
                                [](auto* recorder) { return recorder->MuteLocalMicrophone(true); }},
                      EntryCase{"Mapping",
                                [](auto* recorder) {
                                  return recorder->UpdateVideoSsrcMapping(true, kNumbers, kNumbers,
                                                                          kTypes, 2);
                                }},
                      EntryCase{"Voices",
                                [](auto* recorder) {
                                  return recorder->UpdateVoiceActivity(kNumbers, kSpeaking, 2);
                                }},
                      EntryCase{"Video",
                                [](auto* recorder) {
                                  const EncodedImage image = QuietImage();
                                  return recorder->OnEncodedFrame(&image, 11);
                                }},
                      EntryCase{"Audio",
                                [](auto* recorder) {
                                  QuietFrame frame;
                                  return recorder->OnEncodedData(&frame);
                                }}),
    [](const auto& param_info) { return param_info.param.name; });

}  // namespace
}  // namespace kxrtc
