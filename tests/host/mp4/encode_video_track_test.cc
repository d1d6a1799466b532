#include "host/mp4/encode_video_track.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tests/testing/log_capture.h"
#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/shell.h"

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

TEST_F(EncodeTest, BPicturesAreShownInTheirOrder) {
  const std::vector<std::string> units = kx_testing::TinyReorderedVideo(64, 32, 43);
  video_.bit_rate_kbps = 2000;
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 0; i < 43; ++i) {
    ASSERT_TRUE(Video(i * 125000 / 3, units[static_cast<size_t>(i)]));
    Silence(i * 2 + 1, i * 2 + 2);
  }
  (void)Finished();
  const std::vector<int> lumas = kx_testing::ShownLumas(path_);
  ASSERT_GE(lumas.size(), 43u);
  for (int i = 0; i < 43; ++i) EXPECT_NEAR(lumas[static_cast<size_t>(i)], 40 + 3 * i, 1) << i;
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
              ElementsAre("1 picture cannot be decoded; each time the previous picture stays"));
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

// What an independent reader and decoder say.
struct Shown {
  std::vector<int64_t> times_us;  // Of the pictures, in the order of their showing.
  int64_t end_us = 0;
  std::string complaints;
};

Shown ShownBy(const std::string& path) {
  Shown shown;
  std::istringstream lines(kx_testing::RunShell("ffprobe -v error -select_streams v -show_entries "
                                                "packet=pts_time,duration_time -of csv=p=0 " +
                                                kx_testing::Quoted(path))
                               .output);
  double time = 0;
  double duration = 0;
  for (char comma = 0; lines >> time >> comma >> duration;) {
    shown.times_us.push_back(std::llround(time * 1e6));
    shown.end_us = std::max<int64_t>(shown.end_us, std::llround((time + duration) * 1e6));
  }
  std::sort(shown.times_us.begin(), shown.times_us.end());
  shown.complaints =
      kx_testing::RunShell("ffmpeg -nostdin -v warning -i " + kx_testing::Quoted(path) +
                           " -fps_mode passthrough -enc_time_base -1 -f null -")
          .errors;
  return shown;
}

class EncodedPauseTest : public EncodeTest {
 protected:
  EncodedPauseTest() { options_.preset = "veryfast"; }  // With B pictures.

  // Pictures at these seconds, without sound.
  Shown Pictures(const std::vector<int64_t>& seconds) {
    const std::vector<std::string> units = TinyVideo(64, 32, static_cast<int>(seconds.size()));
    EXPECT_TRUE(Start());
    Attributes();
    for (size_t i = 0; i < seconds.size(); ++i) EXPECT_TRUE(Video(seconds[i] * 1000000, units[i]));
    EXPECT_TRUE(Stop().file_written) << writer_->status().failure_text;
    return ShownBy(path_);
  }
};

TEST_F(EncodedPauseTest, RepeatsThePictureForTenSeconds) {
  const Shown shown = Pictures({0, 10});
  EXPECT_EQ(shown.times_us.size(), 10u * 24 + 1);
  EXPECT_EQ(shown.complaints, "");
  EXPECT_EQ(kx_testing::ReadMp4(path_).Track("vide").durations,
            std::vector<uint32_t>(10 * 24 + 1, 1000));
  EXPECT_THAT(writer_->status().warnings, ElementsAre("the record contains no audio"));
}

TEST_F(EncodedPauseTest, StretchesThePictureOfALongerOne) {
  const Shown shown = Pictures({0, 600, 601, 1200});
  // Ten seconds, the last tick of the pause, one second, ten seconds, the last tick, the picture.
  EXPECT_EQ(shown.times_us.size(), 240u + 1 + 24 + 240 + 1 + 1);
  EXPECT_EQ(shown.complaints, "");
  EXPECT_EQ(shown.times_us[239], 239 * 1000000 / 24);
  EXPECT_NEAR(static_cast<double>(shown.times_us[240]), 600e6 - 1e6 / 24, 1);
  EXPECT_EQ(shown.times_us[241], 600000000);
  EXPECT_EQ(shown.times_us[265], 601000000);
  EXPECT_EQ(shown.times_us.back(), 1200000000);
  EXPECT_NEAR(static_cast<double>(shown.end_us), 1200e6 + 1e6 / 24, 1);
  EXPECT_THAT(writer_->status().warnings, ElementsAre("the record contains no audio"));
}

// A damaged index may say so of two pictures.
TEST_F(EncodedPauseTest, ShortensOneOfManyYears) {
  const Shown shown = Pictures({0, 30LL * 365 * 24 * 3600});
  EXPECT_EQ(shown.times_us.size(), 240u + 1 + 1);
  EXPECT_EQ(shown.complaints, "");
  EXPECT_EQ(shown.times_us.back(), VideoClock::kLongestGapUs);
  EXPECT_THAT(writer_->status().warnings,
              Contains(HasSubstr("the video pauses for longer than the file can represent; ")));
}

TEST_F(EncodeTest, EndsSoonWhenItIsDiscarded) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(0, unit));
  writer_->Discard();
  EXPECT_FALSE(Video(40000, unit));
  EXPECT_FALSE(Audio(kx_testing::kFrameUs, kx_testing::SilentAudio()));
  EXPECT_EQ(Stop().failure, WriterFailure::kDiscarded);
  EXPECT_THAT(observer_.errors, IsEmpty());
  EXPECT_THAT(Names(), IsEmpty());
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
