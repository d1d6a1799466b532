#include "rtc_transcoder/api/rtc_transcoder.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "tests/testing/fake_media_components.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_builder.h"

namespace {

using ::kx_testing::FakeMediaComponentFactory;
using ::kx_testing::FakeMp4SinkWriter;
using ::kx_testing::FakeTranscoderObserver;
using ::kx_testing::RecordBuilder;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(RtcTranscoderApiTest, RegistersAndDetachesTheLogSink) {
  ScopedLogCapture log;
  EXPECT_TRUE(SetLogSink(nullptr));
  EXPECT_EQ(nullptr, kx_utility::LogMessage::GetCurrentLogSink());
  EXPECT_TRUE(SetLogSink(&log));
  EXPECT_EQ(&log, kx_utility::LogMessage::GetCurrentLogSink());
}

TEST(RtcTranscoderApiTest, RefusesToReleaseNothing) {
  ScopedLogCapture log;
  EXPECT_FALSE(ReleaseSpeakerRecordTranscoder(nullptr));
  EXPECT_THAT(log.lines(), ElementsAre("INFO In", "ERROR parameters are nullptr"));
}

// In a process of its own: the set-up happens once in a process.
void ExpectLoggingSetUpOnce() {
  TempDir dir;
  if (chdir(dir.path().c_str()) != 0) _exit(1);
  std::filesystem::create_directory("out");
  kx_testing::WriteFile("out/kxrtc_config.cfg", "{\"loggin_serverity\": 4}");
  void* first = nullptr;
  void* second = nullptr;
  if (!CreateSpeakerRecordTranscoder(&first) || first == nullptr) _exit(2);
  kx_utility::LogMessage::LogToDebug(kx_utility::LS_WARNING);
  kx_utility::LogMessage::SetLoggingTag("host");
  if (!CreateSpeakerRecordTranscoder(&second) || second == first) _exit(3);
  kx_utility::LogMessage("", "f", 1, kx_utility::LS_WARNING) << "still the host's";
  if (!ReleaseSpeakerRecordTranscoder(first) || !ReleaseSpeakerRecordTranscoder(second)) _exit(4);
  std::filesystem::current_path("/");
  _exit(0);
}

TEST(RtcTranscoderApiDeathTest, SetsUpLoggingWithTheFirstTranscoderOnly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(ExpectLoggingSetUpOnce(), ::testing::ExitedWithCode(0),
              HasSubstr("[host][WARNING][f][1]still the host's"));
}

void ExpectTagAndSeverityOfTheConfiguration() {
  TempDir dir;
  if (chdir(dir.path().c_str()) != 0) _exit(1);
  std::filesystem::create_directory("out");
  kx_testing::WriteFile("out/kxrtc_config.cfg", "{\"loggin_serverity\": 4}");
  void* transcoder = nullptr;
  (void)CreateSpeakerRecordTranscoder(&transcoder);
  kx_utility::LogMessage("", "f", 1, kx_utility::LS_WARNING) << "below";
  kx_utility::LogMessage("", "f", 1, kx_utility::LS_ERROR) << "shown";
  (void)ReleaseSpeakerRecordTranscoder(transcoder);
  _exit(0);
}

TEST(RtcTranscoderApiDeathTest, AppliesTheConfiguredSeverity) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(ExpectTagAndSeverityOfTheConfiguration(), ::testing::ExitedWithCode(0),
              "^\\[kxrtc\\]\\[ERROR\\]\\[f\\]\\[1\\]shown\n$");
}

TEST(RtcTranscoderApiTest, ReleaseStopsATranscodingThatIsUnderWay) {
  TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(0, kx_testing::kCamera).Attributes(0, 640, 360).Key(0);
  for (int i = 0; i < 2000; ++i) builder.Delta(i * 20000);
  builder.Stop(60000000).Write();
  FakeMp4SinkWriter writer;
  FakeMediaComponentFactory factory(&writer);
  FakeTranscoderObserver observer;
  void* object = nullptr;
  ASSERT_TRUE(CreateSpeakerRecordTranscoder(&object));
  auto* transcoder = static_cast<kxrtc::SpeakerRecordTranscoder*>(object);
  ASSERT_TRUE(transcoder->StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
  EXPECT_TRUE(ReleaseSpeakerRecordTranscoder(object));
  EXPECT_THAT(factory.calls, ElementsAre("create camera", "release"));
}

}  // namespace
