// Control of the transcoder: start, stop, pause, settings, errors and the size estimate.
#include "kxrtc/recording/speaker_record_transcoder_imp.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

#include "tests/testing/fake_media_components.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_builder.h"

namespace kxrtc {
namespace {

using ::kx_testing::FakeMediaComponentFactory;
using ::kx_testing::FakeMp4SinkWriter;
using ::kx_testing::FakeTranscoderObserver;
using ::kx_testing::kCamera;
using ::kx_testing::kDesktop;
using ::kx_testing::RecordBuilder;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class TranscoderTest : public ::testing::Test {
 protected:
  TranscoderTest() {
    RecordBuilder(dir).Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Stop(1).Write();
  }

  bool Start() {
    return transcoder.StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory);
  }

  TempDir dir;
  FakeMp4SinkWriter writer;
  FakeMediaComponentFactory factory{&writer};
  FakeTranscoderObserver observer;
  ScopedLogCapture log;
  SpeakerRecordTranscoderImp transcoder;
};

TEST_F(TranscoderTest, StartsTheWriterForACameraRecord) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer.WaitForEnd());
  EXPECT_TRUE(transcoder.StopTranscoding());
  EXPECT_THAT(factory.calls, ElementsAre("create camera", "release"));
  EXPECT_THAT(writer.calls(),
              ElementsAre("log path ", "prefer hardware",
                          "start out.mp4 video 4 640x360 24 fps 400 kbps 0 audio 2 32 2",
                          "attributes 640x360 r0", "video 10000 key", "stop"));
  EXPECT_THAT(observer.events(), ElementsAre("completed"));
}

TEST_F(TranscoderTest, StartsTheWriterForADesktopRecord) {
  RecordBuilder(dir).AudioChannels(1).Start(0).Channel(0, kDesktop).Stop(1).Write();
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer.WaitForEnd());
  EXPECT_TRUE(transcoder.StopTranscoding());
  EXPECT_THAT(factory.calls, ElementsAre("create desktop", "release"));
  EXPECT_THAT(writer.calls(),
              Contains("start out.mp4 video 4 1280x720 24 fps 1200 kbps 0 audio 2 32 1"));
}

TEST_F(TranscoderTest, AnyNonZeroDesktopFlagMeansADesktopRecord) {
  WriteFile(dir.File("SpeakeRecord.desc"),
            R"({"speaker_record_overall":{"record_session_count":0,"contain_video":1,
                "contain_desktop":7,"audio_channel_count":2},"speaker_record_session":[]})");
  ASSERT_TRUE(Start());
  transcoder.StopTranscoding();
  EXPECT_THAT(factory.calls, ElementsAre("create desktop", "release"));
}

TEST_F(TranscoderTest, PassesTheSettingsToTheNextWriter) {
  int d3d11 = 0, d3d9 = 0;
  EXPECT_TRUE(transcoder.SetTRVVlogPath("logs/"));
  EXPECT_TRUE(transcoder.SetD3dManger(&d3d11, &d3d9));
  EXPECT_TRUE(transcoder.SetPreferHW(false));
  ASSERT_TRUE(Start());
  transcoder.StopTranscoding();
  const std::vector<std::string> calls = writer.calls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_EQ("log path logs/", calls[0]);
  EXPECT_EQ("d3d " + std::to_string(reinterpret_cast<uintptr_t>(&d3d11)) + " " +
                std::to_string(reinterpret_cast<uintptr_t>(&d3d9)),
            calls[1]);
  EXPECT_EQ("prefer software", calls[2]);
}

TEST_F(TranscoderTest, OneDirect3dHandleIsEnoughToPassBoth) {
  int d3d9 = 0;
  transcoder.SetD3dManger(nullptr, &d3d9);
  ASSERT_TRUE(Start());
  transcoder.StopTranscoding();
  EXPECT_THAT(writer.calls(),
              Contains("d3d 0 " + std::to_string(reinterpret_cast<uintptr_t>(&d3d9))));
}

TEST_F(TranscoderTest, SettersLogTheirEntryOnly) {
  transcoder.SetTRVVlogPath("logs/");
  transcoder.SetD3dManger(reinterpret_cast<void*>(0x10), nullptr);
  transcoder.SetPreferHW(true);
  EXPECT_THAT(log.lines(),
              ElementsAre("INFO In, log_path = logs/", "INFO In, d3d11m = 0x10, d3d9m = (nil)",
                          "INFO In, preferHW = 1"));
}

TEST_F(TranscoderTest, ForwardsDirect3dCapabilitiesToTheWriter) {
  int value = 0;
  EXPECT_FALSE(transcoder.SetDx9Caps(1));
  EXPECT_FALSE(transcoder.GetDx9Caps(&value));
  EXPECT_FALSE(transcoder.GetDx9CapsType(&value));
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR parameters are nullptr", "ERROR parameters are nullptr",
                          "ERROR parameters are nullptr"));
  writer.fail_at = "set caps 6";
  ASSERT_TRUE(Start());
  EXPECT_TRUE(transcoder.SetDx9Caps(5));
  EXPECT_TRUE(transcoder.GetDx9Caps(&value));
  EXPECT_EQ(7, value);
  EXPECT_TRUE(transcoder.GetDx9CapsType(&value));
  EXPECT_EQ(8, value);
  EXPECT_THAT(writer.calls(), Contains("set caps 5"));
  EXPECT_FALSE(transcoder.SetDx9Caps(6));
  transcoder.StopTranscoding();
  EXPECT_FALSE(transcoder.GetDx9Caps(&value));
}

TEST_F(TranscoderTest, PauseAndResumeNeedAStartAndOnlyRecordTheWish) {
  EXPECT_FALSE(transcoder.PauseTranscoding());
  EXPECT_FALSE(transcoder.ResumeTranscoding());
  EXPECT_THAT(log.lines(),
              ElementsAre("INFO In", "ERROR non-inited", "INFO In", "ERROR non-inited"));
  ASSERT_TRUE(Start());
  EXPECT_TRUE(transcoder.PauseTranscoding());
  ASSERT_TRUE(observer.WaitForEnd());  // The replay went on.
  EXPECT_TRUE(transcoder.PauseTranscoding());
  EXPECT_TRUE(transcoder.ResumeTranscoding());
  EXPECT_TRUE(transcoder.StopTranscoding());
  EXPECT_FALSE(transcoder.ResumeTranscoding());
}

TEST_F(TranscoderTest, LogsEntryAndExitOfTheControlOperations) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer.WaitForEnd());
  log.Clear();
  transcoder.StopTranscoding();
  EXPECT_THAT(log.lines(),
              ElementsAre("INFO In", "INFO In", "INFO In", "INFO Out", "INFO Out", "INFO Out"));
}

TEST_F(TranscoderTest, LogsTheArgumentsOfAStart) {
  ASSERT_TRUE(Start());
  const std::string arguments =
      "INFO In, media_record_folder_path = " + dir.path() + ", output_path = out.mp4";
  const std::vector<std::string> lines = log.lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(arguments, lines[0]);
  EXPECT_EQ(arguments, lines[1]);
}

TEST_F(TranscoderTest, StopIsHarmlessWhenNothingWasStarted) {
  EXPECT_TRUE(transcoder.StopTranscoding());
  EXPECT_TRUE(transcoder.StopTranscoding());
  EXPECT_THAT(factory.calls, IsEmpty());
}

TEST_F(TranscoderTest, StopDuringTheReplayEndsItWithoutACallback) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0);
  for (int i = 1; i < 1000; ++i) builder.Delta(i * 20000);
  builder.Stop(30000000).Write();
  // The writer holds the first frame until the stop was requested.
  std::atomic<bool> stopping{false};
  writer.on_call = [&](const std::string& call) {
    if (call != "video 10000 key") return;
    while (!stopping.load()) std::this_thread::yield();
    transcoder.Stop();
  };
  ASSERT_TRUE(Start());
  stopping = true;
  transcoder.StopTranscoding();
  EXPECT_THAT(observer.events(), IsEmpty());
  EXPECT_THAT(writer.calls(), Not(Contains("video 20000 delta")));
  EXPECT_EQ("stop", writer.calls().back());
}

TEST_F(TranscoderTest, SecondStartDiscardsTheFirst) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer.WaitForEnd());
  transcoder.StopTranscoding();
  EXPECT_THAT(factory.calls, ElementsAre("create camera", "release", "create camera", "release"));
}

TEST_F(TranscoderTest, DestructionStopsTheReplayAndLogsOut) {
  auto owned = std::make_unique<SpeakerRecordTranscoderImp>();
  ASSERT_TRUE(owned->StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
  owned.reset();
  EXPECT_THAT(factory.calls, ElementsAre("create camera", "release"));
  EXPECT_EQ("INFO Out", log.lines().back());
}

TEST_F(TranscoderTest, ErrorOneOfTheWriterIsReportedAsErrorTwo) {
  static_cast<Mp4SinkWriterObserver&>(transcoder).OnError(kMp4SinkWriterFatalError);
  EXPECT_THAT(log.lines(), ElementsAre("WARNING error_code = 1", "ERROR non-inited"));
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer.WaitForEnd());
  log.Clear();
  writer.observer()->OnError(static_cast<Mp4SinkWriterErrorCode>(2));
  EXPECT_THAT(observer.events(), ElementsAre("completed"));
  writer.observer()->OnError(kMp4SinkWriterFatalError);
  EXPECT_THAT(observer.events(), ElementsAre("completed", "error 2"));
  writer.observer()->OnStateChanged(static_cast<MediaComponentState>(3));
  writer.observer()->OnEvent(9, nullptr, nullptr);
  EXPECT_THAT(log.lines(), ElementsAre("WARNING error_code = 2", "WARNING error_code = 1",
                                       "INFO state = 3", "INFO event_code = 9"));
  transcoder.StopTranscoding();
}

struct MissingFileCase {
  const char* name;
  const char* file;
  std::vector<std::string> problems;
};

class MissingFileTest : public TranscoderTest,
                        public ::testing::WithParamInterface<MissingFileCase> {};

TEST_P(MissingFileTest, IsErrorOne) {
  std::filesystem::remove(dir.File(GetParam().file));
  EXPECT_FALSE(Start());
  EXPECT_THAT(observer.events(), ElementsAre("error 1"));
  EXPECT_EQ(GetParam().problems, log.problems());
  EXPECT_THAT(factory.calls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Files, MissingFileTest,
    ::testing::Values(
        MissingFileCase{"Video",
                        "SpeakeRecord.264",
                        {"ERROR failed to open video file", "ERROR failed in OpenSpeakerRecord",
                         "ERROR failed in Initialize"}},
        MissingFileCase{"Audio",
                        "SpeakeRecord.aac",
                        {"ERROR failed to open audio file", "ERROR failed in OpenSpeakerRecord",
                         "ERROR failed in Initialize"}},
        MissingFileCase{"Index",
                        "SpeakeRecord.index",
                        {"ERROR failed to open index file", "ERROR failed in OpenSpeakerRecord",
                         "ERROR failed in Initialize"}},
        MissingFileCase{"Descriptor",
                        "SpeakeRecord.desc",
                        {"ERROR file size is not valid", "ERROR failed in ReadFromFile",
                         "ERROR failed in desc_reader_.Initialize",
                         "ERROR failed in OpenSpeakerRecord", "ERROR failed in Initialize"}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(TranscoderTest, EndlessIndexIsNotOpened) {
  std::filesystem::remove(dir.File("SpeakeRecord.index"));
  std::filesystem::create_symlink("/dev/zero", dir.File("SpeakeRecord.index"));
  EXPECT_FALSE(Start());
  EXPECT_THAT(log.problems(), Contains("ERROR failed to open index file"));
}

struct FactoryCase {
  const char* name;
  bool refuse;
  bool stores_null;
};

class FactoryTest : public TranscoderTest, public ::testing::WithParamInterface<FactoryCase> {};

// What a factory stores while it refuses was not handed out.
TEST_P(FactoryTest, WithoutAWriterIsErrorThree) {
  factory.refuse = GetParam().refuse;
  factory.stores_null = GetParam().stores_null;
  EXPECT_FALSE(Start());
  EXPECT_THAT(observer.events(), ElementsAre("error 3"));
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR failed in mc_factory_->CreateMp4SinkWriter",
                          "ERROR failed in CreateMp4SinkWriter", "ERROR failed in Initialize"));
  transcoder.StopTranscoding();
  EXPECT_THAT(factory.calls, ElementsAre("create camera"));
  EXPECT_THAT(writer.calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Answers, FactoryTest,
                         ::testing::Values(FactoryCase{"RefusesAndStoresNull", true, true},
                                           FactoryCase{"RefusesAndStoresAWriter", true, false},
                                           FactoryCase{"AcceptsAndStoresNull", false, true}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST_F(TranscoderTest, WriterThatDoesNotStartIsErrorThreeAndReleasedByTheNextStop) {
  writer.fail_at = "start";
  EXPECT_FALSE(Start());
  EXPECT_THAT(observer.events(), ElementsAre("error 3"));
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR failed in mp4_sink_writer_->StartStreaming",
                          "ERROR failed in CreateMp4SinkWriter", "ERROR failed in Initialize"));
  EXPECT_THAT(factory.calls, ElementsAre("create camera"));
  transcoder.StopTranscoding();
  EXPECT_THAT(factory.calls, ElementsAre("create camera", "release"));
  EXPECT_EQ("stop", writer.calls().back());
}

// The call of the host that throws, and nothing else, differs.
class TranscoderThrowingHostDeathTest : public TranscoderTest,
                                        public ::testing::WithParamInterface<const char*> {};

TEST_P(TranscoderThrowingHostDeathTest, AnExceptionOfTheHostEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  RecordBuilder(dir)
      .Start(0)
      .Channel(0, kCamera)
      .Attributes(0, 640, 360)
      .Key(0)
      .Audio(1)
      .Stop(2)
      .Write();
  writer.on_call = [](const std::string& call) {
    if (call.rfind(GetParam(), 0) == 0) throw std::runtime_error("of the host");
  };
  EXPECT_DEATH(
      {
        (void)Start();
        (void)observer.WaitForEnd();
        (void)transcoder.StopTranscoding();
      },
      "of the host");
}

INSTANTIATE_TEST_SUITE_P(Calls, TranscoderThrowingHostDeathTest,
                         ::testing::Values("prefer", "start", "attributes", "video", "audio",
                                           "stop"));

TEST_F(TranscoderTest, NullArgumentsFailLikeTheirEmptyKind) {
  EXPECT_FALSE(transcoder.StartTranscoding(nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(transcoder.StartTranscoding(dir.path().c_str(), "out.mp4", &observer, nullptr));
  EXPECT_THAT(observer.events(), ElementsAre("error 3"));
  EXPECT_FALSE(transcoder.EstimateOutputSize(dir.path().c_str(), nullptr));
  EXPECT_TRUE(transcoder.SetTRVVlogPath(nullptr));
}

struct EstimateCase {
  const char* name;
  const char* sessions;
  uint32_t session_count;
  uint32_t contain_desktop;
  long long size;
};

class EstimateTest : public TranscoderTest, public ::testing::WithParamInterface<EstimateCase> {};

TEST_P(EstimateTest, IsTheAudioDurationAtTheVideoBitRate) {
  WriteFile(
      dir.File("SpeakeRecord.desc"),
      "{\"speaker_record_overall\":{\"record_session_count\":" +
          std::to_string(GetParam().session_count) +
          ",\"contain_video\":1,\"contain_desktop\":" + std::to_string(GetParam().contain_desktop) +
          ",\"audio_channel_count\":2},\"speaker_record_session\":" + GetParam().sessions + "}");
  long long size = -1;
  EXPECT_TRUE(transcoder.EstimateOutputSize(dir.path().c_str(), &size));
  EXPECT_EQ(GetParam().size, size);
}

#define KX_SESSION(audio_frames)                                                 \
  "{\"sessoin_start_timestamp_us\":0,\"sessoin_end_timestamp_us\":1,"            \
  "\"session_video_frame_count\":5,\"session_audio_frame_count\":" #audio_frames \
  ",\"session_video_switch_count\":1}"

INSTANTIATE_TEST_SUITE_P(
    Records, EstimateTest,
    ::testing::Values(EstimateCase{"NoSessions", "[]", 0, 0, 0},
                      EstimateCase{"NullSessions", "null", 0, 0, 0},
                      EstimateCase{"Desktop", "[" KX_SESSION(1000) "]", 1, 1, 3199950},
                      EstimateCase{"Camera", "[" KX_SESSION(1000) "]", 1, 0, 1066650},
                      EstimateCase{"OneFrameTruncates", "[" KX_SESSION(1) "]", 1, 0, 1066},
                      EstimateCase{"SumsSessions", "[" KX_SESSION(400) "," KX_SESSION(600) "]", 2,
                                   1, 3199950}),
    [](const auto& param_info) { return param_info.param.name; });

#undef KX_SESSION

TEST_F(TranscoderTest, EstimateOfAMissingDescriptorFailsWithSizeZero) {
  std::filesystem::remove(dir.File("SpeakeRecord.desc"));
  long long size = -1;
  EXPECT_FALSE(transcoder.EstimateOutputSize(dir.path().c_str(), &size));
  EXPECT_EQ(0, size);
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR file size is not valid", "ERROR failed in ReadFromFile",
                          "ERROR failed in desc_reader_.Initialidesc_readerze"));
  EXPECT_THAT(log.raw().back(), HasSubstr("[EstimateOutputSize]"));
}

TEST_F(TranscoderTest, StartStopAndReleaseAtRandomInstantsLeaveNothingBehind) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0);
  for (int i = 1; i < 50; ++i) builder.Delta(i * 20000).Audio(i * 20000);
  builder.Stop(30000000).Write();
  std::unique_ptr<SpeakerRecordTranscoderImp> owned;
  for (int i = 0; i < 200; ++i) {
    if (i % 3 == 0) owned = std::make_unique<SpeakerRecordTranscoderImp>();
    ASSERT_TRUE(owned->StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
    for (int spin = 0; spin < (i * 7919) % 500; ++spin) std::this_thread::yield();
    if (i % 2 == 0) {
      ASSERT_TRUE(owned->StopTranscoding());
    }
  }
  owned.reset();
  EXPECT_EQ(400u, factory.calls.size());
}

}  // namespace
}  // namespace kxrtc
