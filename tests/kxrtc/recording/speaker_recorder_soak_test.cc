// Ten thousand sessions in one record.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"
#include "tests/testing/fake_media_components.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::FakeMediaComponentFactory;
using ::kx_testing::FakeMp4SinkWriter;
using ::kx_testing::FakeTranscoderObserver;
using ::kx_testing::RecordedConference;

constexpr uint32_t kSessions = 10000;

TEST(SpeakerRecorderSoakTest, TenThousandSessionsMakeOneRecordThatReplays) {
  [[maybe_unused]] size_t memory = 0;
  const size_t files = kx_testing::CountOpenFiles();
  const size_t threads = kx_testing::CountThreads();
  RecordedConference conference;
  ASSERT_TRUE(conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr));
  for (uint32_t i = 0; i < kSessions; ++i) {
    conference.StartAndDrain();  // Frames that come before the start is carried out are dropped.
    ASSERT_TRUE(conference.Audio("audio"));
    ASSERT_TRUE(conference.recorder.StopRecording());
    if (i == kSessions / 10) memory = kx_testing::ResidentBytes();
  }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // Both keep what was freed.
  // The descriptor's text grows with the sessions, by 250 bytes each.
  EXPECT_LT(kx_testing::ResidentBytes(), memory + (size_t{16} << 20));
#endif
  conference.recorder.Finalize();
  EXPECT_EQ(files, kx_testing::CountOpenFiles());
  EXPECT_EQ(threads, kx_testing::CountThreads());

  SpeakerRecordDescReader reader;
  ASSERT_TRUE(reader.Initialize(conference.dir.File("SpeakeRecord.desc")));
  SpeakerRecordOverall overall;
  ASSERT_TRUE(reader.GetSpeakerRecordOverall(&overall));
  EXPECT_EQ(kSessions, overall.record_session_count);

  FakeMp4SinkWriter writer;
  FakeMediaComponentFactory factory(&writer);
  FakeTranscoderObserver observer;
  SpeakerRecordTranscoderImp transcoder;
  ASSERT_TRUE(
      transcoder.StartTranscoding(conference.dir.path().c_str(), "out.mp4", &observer, &factory));
  ASSERT_TRUE(observer.WaitForEnd());
  transcoder.StopTranscoding();
  EXPECT_EQ("completed", observer.events().back());
  const std::vector<std::string> samples = writer.samples();
  EXPECT_EQ(kSessions, std::count_if(samples.begin(), samples.end(), [](const std::string& sample) {
              return sample.rfind("audio ", 0) == 0;
            }));
}

}  // namespace
}  // namespace kxrtc
