// Ten thousand sessions in one record.
#include <gmock/gmock.h>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"
#include "kxrtc/recording/speaker_recorder.h"
#include "tests/testing/fake_audio_mixer.h"
#include "tests/testing/fake_media_components.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::FakeAudioFrame;
using ::kx_testing::FakeAudioMixer;
using ::kx_testing::FakeMediaComponentFactory;
using ::kx_testing::FakeMp4SinkWriter;
using ::kx_testing::FakeTranscoderObserver;
using ::kx_testing::TempDir;

constexpr uint32_t kSessions = 10000;

TEST(SpeakerRecorderSoakTest, TenThousandSessionsMakeOneRecordThatReplays) {
  TempDir dir;
  FakeAudioMixer mixer;
  FakeAudioFrame frame("audio");
  // Frames that come before their start was carried out are dropped, so a session may be empty.
  const size_t files = kx_testing::CountOpenFiles();
  const size_t threads = kx_testing::CountThreads();
  SpeakerRecorder recorder;
  ASSERT_TRUE(recorder.Initialize(dir.path(), &mixer, nullptr));
  for (uint32_t i = 0; i < kSessions; ++i) {
    ASSERT_TRUE(recorder.StartRecording());
    ASSERT_TRUE(recorder.OnEncodedData(&frame));
    ASSERT_TRUE(recorder.StopRecording());
  }
  recorder.Finalize();
  EXPECT_EQ(files, kx_testing::CountOpenFiles());
  EXPECT_EQ(threads, kx_testing::CountThreads());

  SpeakerRecordDescReader reader;
  ASSERT_TRUE(reader.Initialize(dir.File("SpeakeRecord.desc")));
  SpeakerRecordOverall overall;
  ASSERT_TRUE(reader.GetSpeakerRecordOverall(&overall));
  EXPECT_EQ(kSessions, overall.record_session_count);

  FakeMp4SinkWriter writer;
  FakeMediaComponentFactory factory(&writer);
  FakeTranscoderObserver observer;
  SpeakerRecordTranscoderImp transcoder;
  ASSERT_TRUE(transcoder.StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
  ASSERT_TRUE(observer.WaitForEnd());
  transcoder.StopTranscoding();
  EXPECT_EQ("completed", observer.events().back());
}

}  // namespace
}  // namespace kxrtc
