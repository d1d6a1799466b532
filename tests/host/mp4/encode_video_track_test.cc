#include "host/mp4/encode_video_track.h"

#include <gmock/gmock.h>

#include "tests/testing/log_capture.h"
#include "tests/testing/mp4_writer_fixture.h"

namespace kxrtc_host {
namespace {

using kx_testing::EncodeTest;
using kx_testing::Mp4File;
using kx_testing::Mp4Track;
using kx_testing::TinyVideo;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(EncodeTest, AStepOfTheRecordersClockMakesNoHourOfPictures) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, unit));
  Silence(1, 10);
  ASSERT_TRUE(Video(3600000000, unit));
  Silence(11, 45);
  EXPECT_EQ(Finished().Track("vide").durations.size(), 24u);
  EXPECT_THAT(writer_->status().warnings, Contains(HasSubstr("clock was set forward by 0:59:59")));
}

TEST_F(EncodeTest, AnEmptyPictureWithoutAnAddressDoesNotEndTheDecoder) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(writer_->PushVideoSample(20000, nullptr, 0));
  ASSERT_TRUE(Video(50000, units[1]));
  Silence(1, 10);
  EXPECT_FALSE(Finished().Track("vide").durations.empty());
  EXPECT_EQ(writer_->status().pictures_undecodable, 1u);
}

TEST_F(EncodeTest, MakesOneUniformTrackAtAConstantRate) {
  const std::vector<std::string> small = TinyVideo(32, 64, 2);
  const std::vector<std::string> large = TinyVideo(128, 64, 2);
  ASSERT_TRUE(Start()) << writer_->status().failure_text;
  Attributes();
  ASSERT_TRUE(Video(10000, small[0]));
  Silence(1, 20);
  Attributes(90);
  ASSERT_TRUE(Video(426660, large[0]));
  Silence(21, 46);
  const Mp4File file = Finished();
  const Mp4Track& video = file.Track("vide");
  EXPECT_EQ(video.width, 64u);
  EXPECT_EQ(video.height, 32u);
  EXPECT_EQ(video.ticks_per_second, 24000u);
  EXPECT_EQ(video.start_us, 0);
  // The audio ends after 47 frames of 64/3 ms: 1.0027 s, i.e. in the 25th tick.
  EXPECT_EQ(video.durations, std::vector<uint32_t>(25, 1000));
  EXPECT_EQ(writer_->status().video_encoder, "libx264");
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(EncodeTest, APictureThatDoesNotDecodeLeavesTheLastOne) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(Video(50000, "no picture at all"));
  Silence(1, 20);
  EXPECT_EQ(Finished().Track("vide").durations.size(), 11u);
  EXPECT_EQ(writer_->status().pictures_undecodable, 1u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("1 pictures cannot be decoded; each time the previous picture stays"));
}

TEST_F(EncodeTest, ALongSeriesOfThemEndsTheRun) {
  ASSERT_TRUE(Start());
  Attributes();
  uint32_t pushed = 0;
  while (pushed < 5000 && Video(pushed * 40000, "no picture")) ++pushed;
  EXPECT_EQ(pushed, EncodeVideoTrack::kMaxUndecodableInARow - 1);
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kVideo);
  EXPECT_EQ(writer_->status().failure_text, "1000 pictures in a row cannot be decoded");
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(EncodeTest, WithoutAnyPictureTheFileHoldsAudioAlone) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  EXPECT_EQ(Finished().tracks.size(), 1u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the record contains no video that can be shown"));
}

TEST_F(EncodeTest, WithoutAudioTheLastPictureIsStillShown) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(0, units[0]));
  ASSERT_TRUE(Video(500000, units[1]));
  EXPECT_EQ(Finished().Track("vide").durations.size(), 13u);
  EXPECT_THAT(writer_->status().warnings, ElementsAre("the record contains no audio"));
}

TEST_F(EncodeTest, WithoutAnEncoderTheVideoIsCopiedAndItIsSaid) {
  options_.software_encoders = {"no_such_encoder", "mpeg4"};
  kx_testing::ScopedLogCapture log;
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
  Silence(1, 5);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 1u);
  EXPECT_EQ(writer_->status().video_encoder, "");
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("no H.264 encoder of FFmpeg works here, so the video is copied"));
  EXPECT_THAT(log.lines(),
              Contains("INFO falling back: this FFmpeg has no H.264 encoder no_such_encoder"));
}

TEST_F(EncodeTest, PreferredHardwareIsTriedFirstAndTheFallBackIsLogged) {
  options_.hardware_encoders = {"no_such_hardware"};
  kx_testing::ScopedLogCapture log;
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  ASSERT_TRUE(writer_->SetPreferHW(true));
  ASSERT_TRUE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
  EXPECT_THAT(log.lines(),
              ElementsAre("INFO falling back: this FFmpeg has no H.264 encoder no_such_hardware"));
  (void)Stop();
  log.Clear();
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  ASSERT_TRUE(writer_->SetPreferHW(false));
  ASSERT_TRUE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
