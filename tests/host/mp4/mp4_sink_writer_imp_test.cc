#include "host/mp4/mp4_sink_writer_imp.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "record/index/frame_limit.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/mp4_writer_fixture.h"

namespace kxrtc_host {
namespace {

using kx_testing::CopyTest;
using kx_testing::kFrameUs;
using kx_testing::Mp4SinkWriterImpTest;
using kx_testing::SilentAudio;
using kx_testing::TinyVideo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(Mp4SinkWriterImpTest, NothingAtAllMakesNoFile) {
  for (VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    options_.video_mode = mode;
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Stop().file_written);
    EXPECT_EQ(writer_->status().failure, WriterFailure::kNothing);
    EXPECT_EQ(writer_->status().failure_text, "there is nothing to write: no video, no audio");
    EXPECT_THAT(Names(), IsEmpty());
  }
}

TEST_F(Mp4SinkWriterImpTest, ADiscardedRunLeavesNothingAndIsNoError) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  writer_->Discard();
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kDiscarded);
  EXPECT_EQ(writer_->status().failure_text, "stopped; nothing is written");
  EXPECT_THAT(observer_.errors, IsEmpty());
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, AWriterThatIsNeverStoppedLeavesNothing) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  writer_.reset();
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, AnExistingFileIsRefusedAtTheStart) {
  kx_testing::WriteFile(path_, "mine");
  EXPECT_FALSE(Start());
  EXPECT_EQ(Stop().failure, WriterFailure::kRefused);
  EXPECT_EQ(writer_->status().failure_text, path_ + " already exists");
  EXPECT_EQ(kx_testing::ReadFile(path_), "mine");
}

TEST_F(Mp4SinkWriterImpTest, AFileThatAppearsMeanwhileIsKept) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  kx_testing::WriteFile(path_, "mine");
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kOutput);
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_EQ(kx_testing::ReadFile(path_), "mine");
}

// The limit on the size of files stands for a disk that fills up.
TEST_F(CopyTest, AFullDiskEndsTheRunOnceWithItsReason) {
  const std::string unit = TinyVideo(64, 32, 1)[0] + std::string(100000, 'x');
  ASSERT_TRUE(Start());
  Attributes();
  {
    const kx_testing::ScopedFileSizeLimit limit(1 << 20);
    int pushed = 0;
    while (pushed < 1000 && Audio((pushed + 1) * kFrameUs, SilentAudio()) &&
           Video((pushed + 1) * kFrameUs, unit)) {
      ++pushed;
    }
    EXPECT_LT(pushed, 30);
    EXPECT_FALSE(Stop().file_written);
  }
  EXPECT_EQ(writer_->status().failure, WriterFailure::kOutput);
  EXPECT_EQ(writer_->status().failure_text, "cannot write " + path_ + ": File too large");
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, RefusesWhatItCannotWrite) {
  const kxrtc::VideoConfig video = video_;
  const kxrtc::AudioConfig audio = audio_;
  struct Case {
    std::function<void()> change;
    const char* text;
  };
  const char kFormat[] = "the video or audio format code is unknown";
  const char kRange[] = "the picture size, frame rate or bit rate is out of range";
  for (const Case& test :
       {Case{[&] { video_.format = 5; }, kFormat}, Case{[&] { audio_.format = 1; }, kFormat},
        Case{[&] { video_.width = 0; }, kRange}, Case{[&] { video_.width = 65; }, kRange},
        Case{[&] { video_.height = 16386; }, kRange}, Case{[&] { video_.frame_rate = 0; }, kRange},
        Case{[&] { video_.frame_rate = 1001; }, kRange},
        Case{[&] { video_.bit_rate_kbps = 0; }, kRange},
        Case{[&] { video_.bit_rate_kbps = 1000001; }, kRange}}) {
    video_ = video;
    audio_ = audio;
    test.change();
    EXPECT_FALSE(Start());
    EXPECT_EQ(writer_->status().failure_text, test.text);
    EXPECT_EQ(writer_->status().failure, WriterFailure::kRefused);
    EXPECT_FALSE(Audio(0, SilentAudio()));
    EXPECT_THAT(Names(), IsEmpty());
  }
}

TEST_F(CopyTest, TakesTheSmallestAndTheLargestConfiguration) {
  struct Case {
    uint32_t size;
    uint32_t frame_rate;
    uint32_t bit_rate_kbps;
  };
  for (const Case& test : {Case{2, 1, 1}, Case{16384, 1000, 1000000}}) {
    video_.width = video_.height = test.size;
    video_.frame_rate = test.frame_rate;
    video_.bit_rate_kbps = test.bit_rate_kbps;
    EXPECT_TRUE(Start()) << writer_->status().failure_text;
    writer_->Discard();
    EXPECT_FALSE(Stop().file_written);
  }
}

TEST_F(CopyTest, RefusesAFrameThatNoEncoderMakes) {
  const std::string largest(kMaxFrameBytes, '\x7F');
  ASSERT_TRUE(Start());
  EXPECT_TRUE(Video(0, largest)) << "it is no picture, but that is another matter";
  EXPECT_FALSE(Video(1000000, largest + 'x'));
  EXPECT_THAT(observer_.errors, testing::ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_EQ(Stop().failure, WriterFailure::kVideo);
  EXPECT_EQ(writer_->status().failure_text,
            "a picture of 67108865 bytes at 0:00:01.000 is too large; no encoder makes more than "
            "64 MiB");
  EXPECT_THAT(Names(), testing::IsEmpty());
}

TEST_F(CopyTest, RefusesSoundThatNoEncoderMakes) {
  ASSERT_TRUE(Start());
  Silence(1, 3);
  // The size alone decides: nothing is read.
  EXPECT_FALSE(writer_->PushAudioSample(4 * kx_testing::kFrameUs,
                                        reinterpret_cast<const uint8_t*>("x"), 0x80000000));
  EXPECT_EQ(Stop().failure_text,
            "an audio frame of 2147483648 bytes at 0:00:00.085 is too large; no encoder makes "
            "more than 64 MiB");
  EXPECT_THAT(Names(), testing::IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, WritesOneFileOnly) {
  ASSERT_TRUE(Start());
  EXPECT_FALSE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
}

TEST_F(Mp4SinkWriterImpTest, StoppingTwiceOrUnstartedIsHarmless) {
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  writer_->StopStreaming();
  ASSERT_TRUE(Start());
  Silence(1, 3);
  writer_->StopStreaming();
  writer_->StopStreaming();
  EXPECT_TRUE(writer_->status().file_written);
}

TEST_F(Mp4SinkWriterImpTest, TakesTheOtherSettings) {
  Mp4SinkWriterImp writer(options_);
  int value = 7;
  EXPECT_TRUE(writer.SetTRVVlogPath("/anywhere"));
  EXPECT_TRUE(writer.SetD3dManger(nullptr, &value));
  EXPECT_TRUE(writer.SetPreferHW(false));
  EXPECT_FALSE(writer.SetDx9Caps(1));
  EXPECT_FALSE(writer.GetDx9Caps(&value));
  EXPECT_FALSE(writer.GetDx9CapsType(&value));
  EXPECT_EQ(value, 7);
}

TEST_F(Mp4SinkWriterImpTest, TheSameInputMakesTheSameFile) {
  options_.replace_existing = true;
  for (VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    options_.video_mode = mode;
    std::string first;
    for (int run = 0; run < 2; ++run) {
      ASSERT_TRUE(Start());
      Attributes();
      ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
      Silence(1, 10);
      (void)Finished();
      const std::string content = kx_testing::ReadFile(path_);
      if (run == 0) first = content;
      EXPECT_TRUE(content == first);
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
