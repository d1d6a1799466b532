// Long series of transcodings in one process: nothing is left behind, whenever they are stopped.
#include <gmock/gmock.h>

#include <memory>
#include <random>
#include <thread>

#include "kxrtc/recording/speaker_record_transcoder_imp.h"
#include "tests/testing/fake_media_components.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/record_builder.h"

namespace kxrtc {
namespace {

using ::kx_testing::CountOpenFiles;
using ::kx_testing::CountThreads;
using ::kx_testing::FakeMediaComponentFactory;
using ::kx_testing::FakeMp4SinkWriter;
using ::kx_testing::FakeTranscoderObserver;
using ::kx_testing::kCamera;
using ::kx_testing::RecordBuilder;
using ::kx_testing::ResidentBytes;
using ::kx_testing::TempDir;

class TranscoderSoakTest : public ::testing::Test {
 protected:
  TranscoderSoakTest() {
    RecordBuilder record(dir);
    record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0);
    for (int i = 1; i < 50; ++i) record.Delta(i * 20000).Audio(i * 20000);
    record.Stop(30000000).Write();
  }

  void TranscodeOnce(SpeakerRecordTranscoderImp* transcoder) {
    FakeTranscoderObserver observer;
    ASSERT_TRUE(transcoder->StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
    ASSERT_TRUE(observer.WaitForEnd());
    transcoder->StopTranscoding();
    ASSERT_THAT(observer.events(), ::testing::ElementsAre("completed"));
    writer.Clear();
    factory.calls.clear();
  }

  TempDir dir;
  FakeMp4SinkWriter writer;
  FakeMediaComponentFactory factory{&writer};
};

TEST_F(TranscoderSoakTest, ThousandTranscodingsKeepFilesThreadsAndMemoryFlat) {
  SpeakerRecordTranscoderImp reused;
  for (int i = 0; i < 50; ++i) TranscodeOnce(&reused);
  const size_t files = CountOpenFiles();
  const size_t threads = CountThreads();
  [[maybe_unused]] const size_t memory = ResidentBytes();
  for (int i = 0; i < 1000; ++i) {
    if (i % 2 == 0) {
      TranscodeOnce(&reused);
    } else {
      SpeakerRecordTranscoderImp fresh;
      TranscodeOnce(&fresh);
    }
  }
  EXPECT_EQ(files, CountOpenFiles());
  EXPECT_EQ(threads, CountThreads());
  // A leak of one frame buffer for each run would be a megabyte and more.
#ifndef __SANITIZE_ADDRESS__  // It remembers every thread, and looks for leaks itself.
  EXPECT_LT(ResidentBytes(), memory + (size_t{1} << 20));
#endif
}

TEST_F(TranscoderSoakTest, TenThousandStopsRestartsAndReleasesAtRandomInstants) {
  std::mt19937 random(20240229);
  FakeTranscoderObserver observer;
  auto transcoder = std::make_unique<SpeakerRecordTranscoderImp>();
  const size_t files = CountOpenFiles();
  for (int i = 0; i < 10000; ++i) {
    ASSERT_TRUE(transcoder->StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
    for (uint32_t spins = random() % 200; spins > 0; --spins) std::this_thread::yield();
    switch (random() % 3) {
      case 0:
        ASSERT_TRUE(transcoder->StopTranscoding());
        break;
      case 1:
        break;  // The next start discards this one.
      default:
        transcoder = std::make_unique<SpeakerRecordTranscoderImp>();
    }
    writer.Clear();
  }
  transcoder.reset();
  EXPECT_EQ(files, CountOpenFiles());
  EXPECT_EQ(20000u, factory.calls.size());  // As many releases as creations.
}

}  // namespace
}  // namespace kxrtc
