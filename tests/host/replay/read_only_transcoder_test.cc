// What the library's transcoder does with a record, this one does without permission to write.
#include "host/replay/read_only_transcoder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <random>

#include "host/replay/transcoder_choice.h"
#include "tests/testing/fake_media_components.h"
#include "tests/testing/random_record.h"
#include "tests/testing/replay_calls.h"

namespace kxrtc_host {
namespace {

using kx_testing::FakeMediaComponentFactory;
using kx_testing::FakeMp4SinkWriter;
using kx_testing::FakeTranscoderObserver;
using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::RunReplay;
using kx_testing::TempDir;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class ReadOnlyTranscoderTest : public testing::Test {
 protected:
  RecordBuilder Camera() {
    return RecordBuilder(record_).Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  }
  bool Start() {
    return transcoder_.StartTranscoding(record_.path().c_str(), "out.mp4", &observer_, &factory_);
  }

  TempDir record_;
  FakeMp4SinkWriter writer_;
  FakeMediaComponentFactory factory_{&writer_};
  FakeTranscoderObserver observer_;
  ReadOnlyTranscoder transcoder_;
};

TEST_F(ReadOnlyTranscoderTest, MakesTheCallsOfTheLibrarysReplayOnRandomRecords) {
  std::mt19937_64 random(20240608);
  for (int round = 0; round < 200; ++round) {
    const TempDir dir;
    kx_testing::WriteRandomRecord(&random, dir);
    ReadOnlyTranscoder transcoder;
    ASSERT_EQ(RunReplay(&transcoder, dir.path()), RunReplay(dir.path())) << "round " << round;
  }
}

TEST_F(ReadOnlyTranscoderTest, PassesAllBytesOfSmallAndLargeFrames) {
  const std::string large =
      kx_testing::DeltaFrame() + std::string(2 * ReadOnlyFile::kWindowSize, 'x');
  Camera().Audio(21333).Video(40000, large).Stop(50000).Write();
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer_.WaitForEnd());
  EXPECT_THAT(observer_.events(), ElementsAre("completed"));
  EXPECT_TRUE(transcoder_.StopTranscoding());
  EXPECT_THAT(writer_.samples(),
              ElementsAre("attributes 640x360 r0", "video 10000 key", "audio 21333 audio",
                          "video 40000 size " + std::to_string(large.size())));
}

TEST_F(ReadOnlyTranscoderTest, AsksTheWriterForWhatTheLibraryAsksFor) {
  Camera().Desktop(true).Stop(50000).Write();
  FakeMp4SinkWriter other_writer;
  FakeMediaComponentFactory other_factory(&other_writer);
  FakeTranscoderObserver other_observer;
  RecordFiles files;
  files.Open(record_.path());
  ASSERT_FALSE(IsReadOnly(files));
  const auto library = MakeTranscoderFor(files);
  ASSERT_TRUE(library->StartTranscoding(record_.path().c_str(), "out.mp4", &other_observer,
                                        &other_factory));
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer_.WaitForEnd());
  ASSERT_TRUE(other_observer.WaitForEnd());
  (void)library->StopTranscoding();
  (void)transcoder_.StopTranscoding();
  EXPECT_THAT(writer_.calls(), Not(IsEmpty()));
  EXPECT_EQ(writer_.calls(), other_writer.calls());
  EXPECT_EQ(factory_.calls, other_factory.calls);
}

TEST_F(ReadOnlyTranscoderTest, GivesTheErrorCodesOfTheInterface) {
  EXPECT_FALSE(Start());
  EXPECT_THAT(observer_.events(), ElementsAre("error 1"));
  Camera().Audio(21333).Stop(50000).Write();
  factory_.refuse = true;
  EXPECT_FALSE(Start());
  EXPECT_THAT(observer_.events(), ElementsAre("error 1", "error 3"));
  factory_.refuse = false;
  writer_.fail_at = "audio";
  EXPECT_TRUE(Start());
  FakeTranscoderObserver second;
  ASSERT_TRUE(transcoder_.StartTranscoding(record_.path().c_str(), "out.mp4", &second, &factory_));
  ASSERT_TRUE(second.WaitForEnd());
  EXPECT_THAT(second.events(), ElementsAre("error 4"));
  writer_.observer()->OnError(kxrtc::kMp4SinkWriterFatalError);
  EXPECT_THAT(second.events(), ElementsAre("error 4", "error 2"));
}

TEST_F(ReadOnlyTranscoderTest, EndsWhereAFileBecameShorter) {
  RecordBuilder builder = Camera();
  int64_t time_us = 3;
  for (int i = 0; i < 4; ++i) {
    builder.Video(time_us += 40000, std::string(ReadOnlyFile::kWindowSize, 'x'));
  }
  builder.Stop(time_us + 1).Write();
  writer_.on_call = [&](const std::string& call) {
    if (call.find("key") != std::string::npos) {
      std::filesystem::resize_file(record_.File("SpeakeRecord.264"), 100);
    }
  };
  ASSERT_TRUE(Start());
  ASSERT_TRUE(observer_.WaitForEnd());
  EXPECT_THAT(observer_.events(), ElementsAre("error 4"));
}

TEST_F(ReadOnlyTranscoderTest, StopsInTheMiddleWithoutACallback) {
  RecordBuilder builder = Camera();
  for (int i = 1; i <= 5000; ++i) builder.Audio(i * 21333);
  builder.Stop(5001 * 21333).Write();
  writer_.on_call = [](const std::string& call) {
    if (call.find("audio") != std::string::npos) kx_utility::Thread::Sleep(1);
  };
  ASSERT_TRUE(Start());
  EXPECT_TRUE(transcoder_.PauseTranscoding());
  EXPECT_TRUE(transcoder_.StopTranscoding());
  EXPECT_FALSE(transcoder_.PauseTranscoding());
  EXPECT_THAT(observer_.events(), IsEmpty());
  EXPECT_THAT(factory_.calls, Contains("release"));
}

TEST_F(ReadOnlyTranscoderTest, EstimatesWhatTheLibraryEstimates) {
  RecordBuilder builder = Camera();
  for (int i = 1; i <= 50; ++i) builder.Audio(i * 21333);
  builder.Stop(51 * 21333).Write();
  long long here = 0;
  long long there = 0;
  RecordFiles files;
  files.Open(record_.path());
  EXPECT_TRUE(transcoder_.EstimateOutputSize(record_.path().c_str(), &here));
  EXPECT_TRUE(MakeTranscoderFor(files)->EstimateOutputSize(record_.path().c_str(), &there));
  EXPECT_GT(here, 0);
  EXPECT_EQ(here, there);
  EXPECT_FALSE(transcoder_.EstimateOutputSize("/nowhere/", &here));
  EXPECT_EQ(here, 0);
}

}  // namespace
}  // namespace kxrtc_host
