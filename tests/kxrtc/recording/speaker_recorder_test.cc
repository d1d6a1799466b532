#include "kxrtc/recording/speaker_recorder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/testing/log_capture.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpRecord;
using ::kx_testing::DumpTimes;
using ::kx_testing::FakeAudioMixer;
using ::kx_testing::ReadFile;
using ::kx_testing::RecordedConference;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Lines = std::vector<std::string>;

const VideoChannelInfo kAnn = {11, 1, 2};
const VideoChannelInfo kBob = {12, 2, 2};
const VideoChannelInfo kBobsDesktop = {22, 2, 3};

class SpeakerRecorderTest : public ::testing::Test {
 protected:
  // Initializes without the line that says so.
  void Initialize() {
    ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
    log_.Clear();
  }

  void InitializeAndStart() {
    Initialize();
    conference_.StartAndDrain();
    log_.Clear();
  }

  // Whether each of the entries is accepted.
  std::vector<bool> CallEveryEntry() {
    const uint32_t number = 1;
    const uint8_t speaking = 1;
    const auto type = PeerConnectionConductor::kCamera;
    return {recorder_.StartRecording(),
            recorder_.StopRecording(),
            recorder_.MuteLocalMicrophone(true),
            recorder_.UpdateVideoSsrcMapping(true, &number, &number, &type, 1),
            recorder_.UpdateVoiceActivity(&number, &speaking, 1),
            conference_.Key(1, "k"),
            conference_.Audio("a")};
  }

  Lines Dump() const { return DumpRecord(conference_.dir.path()); }

  RecordedConference conference_;
  SpeakerRecorder& recorder_ = conference_.recorder;
  ScopedLogCapture log_;
};

TEST_F(SpeakerRecorderTest, RefusesEveryEntryBeforeInitialize) {
  EXPECT_THAT(CallEveryEntry(), testing::Each(false));
  EXPECT_THAT(log_.lines(), ElementsAre("ERROR non-inited", "ERROR non-inited"));
  EXPECT_THAT(conference_.mixer.calls(), IsEmpty());
}

TEST_F(SpeakerRecorderTest, TakesAnEmptyPathForDisabledRecording) {
  EXPECT_TRUE(recorder_.Initialize("", &conference_.mixer, nullptr));
  EXPECT_THAT(log_.lines(), ElementsAre("INFO No recording path is set."));
  EXPECT_THAT(CallEveryEntry(), testing::Each(false));
  EXPECT_THAT(conference_.mixer.calls(), IsEmpty());
}

TEST_F(SpeakerRecorderTest, CreatesFourEmptyFilesAndSaysSo) {
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  ASSERT_EQ(1U, log_.raw().size());
  EXPECT_THAT(log_.raw()[0], HasSubstr("[INFO][Initialize]["));
  EXPECT_THAT(log_.raw()[0], HasSubstr("] success\n"));
  for (const char* extension : {".264", ".aac", ".index", ".desc"}) {
    EXPECT_EQ("", ReadFile(conference_.dir.File(std::string("SpeakeRecord") + extension)));
  }
  EXPECT_THAT(CallEveryEntry(), testing::Each(true));
}

TEST_F(SpeakerRecorderTest, GivesTheMixerBackOnce) {
  Initialize();
  EXPECT_TRUE(recorder_.Finalize());
  EXPECT_TRUE(recorder_.Finalize());
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create", "stop", "release"));
  EXPECT_THAT(CallEveryEntry(), testing::Each(false));
}

TEST_F(SpeakerRecorderTest, RefusesAMissingFactory) {
  EXPECT_FALSE(recorder_.Initialize(conference_.dir.path(), nullptr, nullptr));
  EXPECT_THAT(log_.lines(), ElementsAre("ERROR parameters are nullptr"));
}

TEST_F(SpeakerRecorderTest, FailsWithoutAMixer) {
  conference_.mixer.create_result = false;
  EXPECT_FALSE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  EXPECT_THAT(log_.lines(),
              ElementsAre("ERROR failed in audio_factory_->CreateAudioMixerRecorder"));
  recorder_.Finalize();
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create"));
  EXPECT_THAT(CallEveryEntry(), testing::Each(false));
}

// True without a mixer is a failure; what comes with false is neither used nor released.
TEST_F(SpeakerRecorderTest, FailsWhenTheFactoryStoresNoMixer) {
  struct EmptyFactory final : AudioFactory {
    bool CreateAudioMixerRecorder(AudioMixerRecorder** out) override {
      *out = nullptr;
      return true;
    }
    void ReleaseAudioMixerRecorder(AudioMixerRecorder*) override { ADD_FAILURE() << "released"; }
  } factory;
  EXPECT_FALSE(recorder_.Initialize(conference_.dir.path(), &factory, nullptr));
  EXPECT_THAT(log_.lines(),
              ElementsAre("ERROR failed in audio_factory_->CreateAudioMixerRecorder"));
  EXPECT_THAT(CallEveryEntry(), testing::Each(false));
  recorder_.Finalize();
}

struct CreateCase {
  const char* name;
  const char* blocked;  // A folder stands where this file shall be.
  Lines lines;
};

class RecorderCreateTest : public SpeakerRecorderTest,
                           public ::testing::WithParamInterface<CreateCase> {};

TEST_P(RecorderCreateTest, FailsWithoutItsFilesAndGivesTheMixerBack) {
  ASSERT_EQ(0, mkdir(conference_.dir.File(GetParam().blocked).c_str(), 0700));
  EXPECT_FALSE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  EXPECT_EQ(GetParam().lines, log_.lines());
  EXPECT_THAT(CallEveryEntry(), testing::Each(false));
  recorder_.Finalize();
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create", "stop", "release"));
}

INSTANTIATE_TEST_SUITE_P(
    Files, RecorderCreateTest,
    ::testing::Values(
        CreateCase{"Video",
                   "SpeakeRecord.264",
                   {"ERROR failed to open video file", "ERROR failed in CreateRecordFile"}},
        CreateCase{"Audio",
                   "SpeakeRecord.aac",
                   {"ERROR failed to open audio file", "ERROR failed in CreateRecordFile"}},
        CreateCase{"Index",
                   "SpeakeRecord.index",
                   {"ERROR failed to open index file", "ERROR failed in CreateRecordFile"}},
        CreateCase{"Descriptor",
                   "SpeakeRecord.desc",
                   {"ERROR failed to open file", "ERROR failed in desc_writer_.Initialize"}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(SpeakerRecorderTest, FinishesTheFormerRecordBeforeTheNext) {
  InitializeAndStart();
  conference_.Audio("a");
  TempDir other;
  FakeAudioMixer other_mixer;
  ASSERT_TRUE(recorder_.Initialize(other.path(), &other_mixer, nullptr));
  EXPECT_THAT(Dump(), ElementsAre("start", "audio a"));
  EXPECT_THAT(conference_.mixer.calls(),
              ElementsAre("create", "start 2 3", "format", "start 2 3", "stop", "release"));
  EXPECT_THAT(other_mixer.calls(), ElementsAre("create"));
  EXPECT_THAT(ReadFile(conference_.dir.File("SpeakeRecord.desc")),
              HasSubstr("\"session_audio_frame_count\" : 1,"));
  EXPECT_EQ("", ReadFile(other.File("SpeakeRecord.desc")));
  recorder_.Finalize();  // Before its mixer goes.
}

TEST_F(SpeakerRecorderTest, StartsTheMixerThenTheSession) {
  Initialize();
  recorder_.StartRecording();
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(conference_.mixer.calls(),
              ElementsAre("create", "start 2 3", "format", "stop", "stop", "release"));
  EXPECT_THAT(Dump(), ElementsAre("start", "stop"));
  EXPECT_THAT(log_.lines(), ElementsAre("INFO start recording...", "INFO stop recording..."));
  EXPECT_THAT(ReadFile(conference_.dir.File("SpeakeRecord.desc")),
              HasSubstr("\"audio_channel_count\" : 2,"));
}

TEST_F(SpeakerRecorderTest, RefusesASecondStart) {
  Initialize();
  recorder_.StartRecording();
  recorder_.StartRecording();
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(), ElementsAre("INFO start recording...", "ERROR already running"));
  EXPECT_THAT(Dump(), ElementsAre("start"));
}

TEST_F(SpeakerRecorderTest, RefusesAStopWithoutAStart) {
  Initialize();
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(), ElementsAre("ERROR already stop"));
  EXPECT_THAT(Dump(), IsEmpty());
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create", "stop", "release"));
}

TEST_F(SpeakerRecorderTest, LeavesTheMutedMicrophoneOutOfALaterStart) {
  Initialize();
  recorder_.MuteLocalMicrophone(true);
  recorder_.StartRecording();
  recorder_.Finalize();
  EXPECT_THAT(conference_.mixer.calls(),
              ElementsAre("create", "start 2 2", "format", "stop", "release"));
  EXPECT_THAT(log_.lines(), ElementsAre("INFO start recording..."));
}

TEST_F(SpeakerRecorderTest, SwitchesTheSourceOfARunningMixer) {
  Initialize();
  recorder_.StartRecording();
  recorder_.MuteLocalMicrophone(true);
  recorder_.MuteLocalMicrophone(false);
  recorder_.Finalize();
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create", "start 2 3", "format", "start 2 2",
                                                     "start 2 3", "stop", "release"));
  EXPECT_THAT(log_.lines(),
              ElementsAre("INFO start recording...", "INFO new source = 2", "INFO new source = 3"));
}

TEST_F(SpeakerRecorderTest, ForgetsTheMutedMicrophoneWhenFinalized) {
  Initialize();
  recorder_.MuteLocalMicrophone(true);
  Initialize();
  recorder_.StartRecording();
  recorder_.Finalize();
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create", "stop", "release", "create",
                                                     "start 2 3", "format", "stop", "release"));
}

TEST_F(SpeakerRecorderTest, DoesNotRecordWhenTheMixerRefusesToStart) {
  conference_.mixer.start_result = false;
  Initialize();
  recorder_.StartRecording();
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(), ElementsAre("ERROR failed in mixer_recorder_->Start"));
  EXPECT_THAT(Dump(), IsEmpty());
}

TEST_F(SpeakerRecorderTest, LeavesTheMixerStartedWhenItHasNoFormat) {
  conference_.mixer.format_result = false;
  Initialize();
  recorder_.StartRecording();
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(),
              ElementsAre("ERROR failed in mixer_recorder_->GetAudioFormat", "ERROR already stop"));
  EXPECT_THAT(Dump(), IsEmpty());
  EXPECT_THAT(conference_.mixer.calls(),
              ElementsAre("create", "start 2 3", "format", "stop", "release"));
}

TEST_F(SpeakerRecorderTest, StopsAlthoughTheMixerDoesNot) {
  conference_.mixer.stop_result = false;
  Initialize();
  recorder_.StartRecording();
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(),
              ElementsAre("INFO start recording...", "WARNING failed in mixer_recorder_->Stop",
                          "INFO stop recording..."));
  EXPECT_THAT(Dump(), ElementsAre("start", "stop"));
}

TEST_F(SpeakerRecorderTest, TellsASourceThatTheMixerRefuses) {
  conference_.mixer.refused_source = kAudioMixerSourceRemote;
  InitializeAndStart();
  recorder_.MuteLocalMicrophone(true);
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(),
              ElementsAre("INFO new source = 2", "ERROR failed in mixer_recorder_->Start"));
}

TEST_F(SpeakerRecorderTest, FollowsTheSpeakers) {
  InitializeAndStart();
  conference_.MapRemote({kAnn, kBob});
  conference_.Voices({{1, true}, {2, false}});
  EXPECT_TRUE(conference_.Delta(11, "too early"));
  EXPECT_TRUE(conference_.Key(11, "a1"));
  EXPECT_TRUE(conference_.Delta(11, "a2"));
  EXPECT_TRUE(conference_.Key(12, "not speaking"));
  EXPECT_TRUE(conference_.Audio("x1"));
  conference_.Voices({{1, false}, {2, true}});
  EXPECT_TRUE(conference_.Delta(12, "no key frame"));
  EXPECT_TRUE(conference_.Delta(11, "a3"));
  EXPECT_TRUE(conference_.Key(12, "b1", 90));
  EXPECT_TRUE(conference_.Delta(11, "no longer"));
  EXPECT_TRUE(conference_.Delta(12, "b2", 90));
  conference_.MapRemote({kAnn, kBobsDesktop});
  EXPECT_TRUE(conference_.Delta(12, "gone"));
  EXPECT_TRUE(conference_.Key(22, "d1"));
  conference_.Voices({{1, true}, {2, false}, {5, true}});
  EXPECT_TRUE(conference_.Key(11, "not over a desktop"));
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(Dump(), ElementsAre("start", "channel 2", "attributes 640x360 r0", "video a1",
                                  "video a2", "audio x1", "video a3", "channel 2",
                                  "attributes 640x360 r90", "video b1", "video b2", "channel 0",
                                  "channel 3", "attributes 640x360 r0", "video d1", "stop"));
  Lines spoken;
  for (const std::string& line : log_.lines()) {
    if (line.find("last_video_attributes") == std::string::npos) spoken.push_back(line);
  }
  EXPECT_THAT(spoken, ElementsAre("INFO current recording user is not a speaker, and found another "
                                  "speaker, SwitchChannel",
                                  "INFO new recording info: ssrc = 11, user_id = 1, type = 2",
                                  "INFO current recording user is not a speaker, and found another "
                                  "speaker, SwitchChannel",
                                  "INFO new recording info: ssrc = 12, user_id = 2, type = 2",
                                  "INFO current recording video is turn off",
                                  "INFO new recording info: ssrc = 0, user_id = 2, type = 0",
                                  "INFO new recording info: ssrc = 22, user_id = 2, type = 3",
                                  "INFO stop recording..."));
}

TEST_F(SpeakerRecorderTest, RecordsASpeakerWithoutVideoAsAnAudioOnlyStretch) {
  InitializeAndStart();
  conference_.Voices({{5, true}});
  conference_.Audio("x1");
  conference_.Voices({});
  conference_.Audio("x2");
  recorder_.Finalize();
  EXPECT_THAT(Dump(), ElementsAre("start", "channel 0", "audio x1", "channel 0", "audio x2"));
  EXPECT_THAT(log_.lines(),
              ElementsAre("INFO current recording user is not a speaker, SwitchChannel",
                          "INFO new recording info: ssrc = 0, user_id = 5, type = 0",
                          "INFO current recording user is not enable mic, SwitchChannel",
                          "INFO new recording info: ssrc = 0, user_id = 0, type = 0"));
}

TEST_F(SpeakerRecorderTest, WarnsOfKeyFramesThatNoMappingHas) {
  InitializeAndStart();
  conference_.Key(77, "stranger");
  conference_.Delta(77, "stranger");
  recorder_.Finalize();
  EXPECT_THAT(log_.lines(), ElementsAre("WARNING no available info for this key frame, "
                                        "key_frame_ssrc =  77"));
  EXPECT_THAT(Dump(), ElementsAre("start"));
}

TEST_F(SpeakerRecorderTest, NeverWritesFramesWithoutAnSsrc) {
  InitializeAndStart();
  conference_.Delta(0, "nobody");
  conference_.Key(0, "nobody");
  recorder_.Finalize();
  EXPECT_THAT(Dump(), ElementsAre("start"));
}

TEST_F(SpeakerRecorderTest, KeepsTheTablesButNotTheChannelOverAStopAndStart) {
  InitializeAndStart();
  conference_.MapRemote({kAnn});
  conference_.Key(11, "k1");
  recorder_.StopRecording();
  conference_.StartAndDrain();
  conference_.Delta(11, "needs a key frame");
  conference_.Key(11, "k2");
  recorder_.Finalize();
  EXPECT_THAT(Dump(), ElementsAre("start", "channel 2", "attributes 640x360 r0", "video k1", "stop",
                                  "start", "channel 2", "attributes 640x360 r0", "video k2"));
}

TEST_F(SpeakerRecorderTest, LearnsWhoIsWhereWhileNothingIsRecorded) {
  Initialize();
  conference_.MapRemote({kAnn});
  conference_.Voices({{1, true}});
  EXPECT_TRUE(conference_.Key(11, "dropped"));
  EXPECT_TRUE(conference_.Audio("dropped"));
  conference_.StartAndDrain();
  conference_.Key(11, "k1");
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(Dump(),
              ElementsAre("start", "channel 2", "attributes 640x360 r0", "video k1", "stop"));
}

TEST_F(SpeakerRecorderTest, DropsFramesThatAreQueuedBehindTheStop) {
  // While the task thread is inside Stop() the recording still runs for everybody else.
  kx_utility::Event stopped(true, false);
  conference_.mixer.on_stop = [&] {
    if (stopped.Wait(0)) return;
    EXPECT_TRUE(conference_.Key(11, "late"));
    EXPECT_TRUE(conference_.Audio("late"));
    stopped.Set();
  };
  InitializeAndStart();
  conference_.MapRemote({kAnn});
  recorder_.StopRecording();
  ASSERT_TRUE(stopped.Wait(kx_testing::kDeadlineMs));
  recorder_.Finalize();
  EXPECT_THAT(Dump(), ElementsAre("start", "stop"));
  EXPECT_THAT(log_.problems(), IsEmpty());
}

TEST_F(SpeakerRecorderTest, WritesTimesInTheOrderOfTheCalls) {
  InitializeAndStart();
  for (int i = 0; i < 50; ++i) conference_.Audio("a");
  recorder_.Finalize();
  const std::vector<long long> times =
      DumpTimes(ReadFile(conference_.dir.File("SpeakeRecord.index")));
  ASSERT_EQ(51U, times.size());
  EXPECT_GE(times.front(), 0);
  EXPECT_LT(times.back(), kx_testing::kDeadlineMs * 1000LL);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

TEST_F(SpeakerRecorderTest, RefusesNullArguments) {
  InitializeAndStart();
  const uint32_t number = 1;
  const uint8_t speaking = 1;
  const auto type = PeerConnectionConductor::kCamera;
  EXPECT_FALSE(recorder_.OnEncodedFrame(nullptr, 11));
  EXPECT_FALSE(recorder_.OnEncodedData(nullptr));
  EXPECT_FALSE(recorder_.UpdateVideoSsrcMapping(true, nullptr, &number, &type, 1));
  EXPECT_FALSE(recorder_.UpdateVideoSsrcMapping(true, &number, nullptr, &type, 1));
  EXPECT_FALSE(recorder_.UpdateVideoSsrcMapping(true, &number, &number, nullptr, 1));
  EXPECT_FALSE(recorder_.UpdateVoiceActivity(nullptr, &speaking, 1));
  EXPECT_FALSE(recorder_.UpdateVoiceActivity(&number, nullptr, 1));
  EncodedImage image;
  image.length = 5;
  EXPECT_FALSE(recorder_.OnEncodedFrame(&image, 11));
  EXPECT_TRUE(recorder_.UpdateVideoSsrcMapping(true, nullptr, nullptr, nullptr, 0));
  EXPECT_TRUE(recorder_.UpdateVoiceActivity(nullptr, nullptr, 0));
}

TEST_F(SpeakerRecorderTest, DoesNotKeepTheObserver) {
  struct Observer final : SpeakerRecorderObserver {
    void OnRecordFailed() override { ADD_FAILURE() << "called"; }
  } observer;
  ASSERT_EQ(0, symlink("/dev/full", conference_.dir.File("SpeakeRecord.aac").c_str()));
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, &observer));
  conference_.StartAndDrain();
  conference_.Audio("a");
  recorder_.Finalize();
  EXPECT_THAT(log_.problems(), testing::Contains("ERROR failed in ProcessAudioFrame"));
}

TEST(SpeakerRecorderLifeTest, FinishesTheRecordWhenDestroyed) {
  ScopedLogCapture log;
  TempDir dir;
  FakeAudioMixer mixer;
  {
    SpeakerRecorder recorder;
    ASSERT_TRUE(recorder.Initialize(dir.path(), &mixer, nullptr));
    recorder.StartRecording();
    recorder.StopRecording();
  }
  EXPECT_THAT(DumpRecord(dir.path()), ElementsAre("start", "stop"));
  EXPECT_THAT(mixer.calls(),
              ElementsAre("create", "start 2 3", "format", "stop", "stop", "release"));
}

}  // namespace
}  // namespace kxrtc
