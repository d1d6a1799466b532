#include "host/mp4/copy_video_track.h"

#include <gmock/gmock.h>

#include "kxrtc/recording/icon_frames.h"
#include "record/stream/annex_b.h"
#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/shell.h"

namespace kxrtc_host {
namespace {

using kx_testing::CopyTest;
using kx_testing::kFrameUs;
using kx_testing::Mp4File;
using kx_testing::Mp4Track;
using kx_testing::SilentAudio;
using kx_testing::TinyVideo;
using kx_testing::WithoutNal;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(CopyTest, KeepsEverySampleAtItsTimeAndLetsTheLastPictureLast) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start()) << writer_->status().failure_text;
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  Silence(1, 2);
  ASSERT_TRUE(Video(53000, units[1]));
  Silence(3, 10);
  ASSERT_TRUE(Video(213330, units[2]));
  Silence(11, 20);
  const Mp4File file = Finished();
  EXPECT_EQ(file.boxes.front(), "ftyp");
  EXPECT_EQ(file.boxes[1], "moov");
  const Mp4Track& video = file.Track("vide");
  EXPECT_EQ(video.ticks_per_second, 1000000u);
  EXPECT_EQ(video.start_us, 10000);
  EXPECT_THAT(video.durations, ElementsAre(43001, 160332, 448000 - 213333));
  EXPECT_THAT(video.key_samples, ElementsAre(1));
  const Mp4Track& audio = file.Track("soun");
  EXPECT_EQ(audio.ticks_per_second, 48000u);
  EXPECT_EQ(audio.start_us, 21333);
  EXPECT_EQ(audio.durations, std::vector<uint32_t>(20, 1024));
  EXPECT_EQ(audio.sizes, std::vector<uint32_t>(20, 9));
  EXPECT_NEAR(video.EndUs(), audio.EndUs(), 1);
  const Mp4WriterStatus& status = writer_->status();
  EXPECT_EQ(status.video_samples_written, 3u);
  EXPECT_EQ(status.audio_frames_written, 20u);
  EXPECT_EQ(status.duration_us, 448000);
  EXPECT_EQ(status.file_size, std::filesystem::file_size(path_));
  EXPECT_EQ(status.video_encoder, "");
  EXPECT_THAT(status.warnings, IsEmpty());
}

TEST_F(CopyTest, PutsTheIndexInFrontWhateverTheBoundsSay) {
  const std::vector<std::string> units = TinyVideo(64, 32, 8);
  std::vector<std::string> contents;
  for (const SampleBounds& bounds :
       {SampleBounds{}, SampleBounds{8, 20, 10000000}, SampleBounds{1, 1, 10000000}}) {
    options_.bounds = bounds;
    options_.replace_existing = true;
    ASSERT_TRUE(Start());
    Attributes();
    for (int i = 0; i < 8; ++i) {
      ASSERT_TRUE(Video(10000 + i * 42666, units[static_cast<size_t>(i)]));
      Silence(i * 2 + 1, i * 2 + 2);
    }
    const Mp4File file = Finished();
    EXPECT_EQ(file.boxes[1], "moov");
    EXPECT_EQ(file.Track("vide").sizes.size(), 8u);
    EXPECT_EQ(file.Track("soun").sizes.size(), 16u);
    // The first video sample lies where its chunk begins: its length, then its first NAL unit.
    const std::string bytes = kx_testing::ReadFile(path_);
    std::vector<NalUnit> nals;
    SplitAccessUnit(reinterpret_cast<const uint8_t*>(units[0].data()),
                    static_cast<uint32_t>(units[0].size()), &nals);
    EXPECT_EQ(bytes.substr(file.Track("vide").chunk_offsets[0] + 4, nals[0].size),
              std::string(reinterpret_cast<const char*>(nals[0].data), nals[0].size));
  }
}

TEST_F(CopyTest, AnIndexThatOutgrowsItsPlaceStillComesFirst) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  options_.bounds = {1, 1, 10000000};
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 0; i < 400; ++i) {
    ASSERT_TRUE(Video(10000 + i * kFrameUs, units[0]));
    Silence(i + 1, i + 1);
  }
  const Mp4File file = Finished();
  EXPECT_EQ(file.boxes[1], "moov");
  EXPECT_THAT(file.boxes, Contains("free"));
  EXPECT_EQ(file.boxes.back(), "mdat");
  EXPECT_EQ(file.Track("vide").sizes.size(), 400u);
  const std::string bytes = kx_testing::ReadFile(path_);
  EXPECT_EQ(bytes.substr(file.Track("soun").chunk_offsets[399], 9), SilentAudio());
}

TEST_F(CopyTest, LeavesOutWhatComesBeforeAKeyFrame) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[1]));
  ASSERT_TRUE(Video(50000, units[2]));
  ASSERT_TRUE(Video(90000, units[0]));
  Silence(1, 10);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 1u);
  EXPECT_EQ(writer_->status().video_samples_dropped, 2u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("2 video samples have no key frame with parameter sets before them; the "
                          "MP4 does not contain them"));
}

TEST_F(CopyTest, GivesAKeyFrameTheNewestParameterSets) {
  const std::vector<std::string> units = TinyVideo(64, 32, 4, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(Video(50000, units[1]));
  ASSERT_TRUE(Video(90000, WithoutNal(WithoutNal(units[2], kxrtc::H264::kNaluTypeSps),
                                      kxrtc::H264::kNaluTypePps)));
  ASSERT_TRUE(Video(130000, units[3]));
  Silence(1, 10);
  const Mp4Track video = Finished().Track("vide");
  ASSERT_EQ(video.sizes.size(), 4u);
  EXPECT_THAT(video.key_samples, ElementsAre(1, 3));
  const std::string bytes = kx_testing::ReadFile(path_);
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
  // As if they had been in it: both key frames are of one size but for the picture's own bytes.
  std::vector<NalUnit> nals;
  SplitAccessUnit(reinterpret_cast<const uint8_t*>(units[2].data()),
                  static_cast<uint32_t>(units[2].size()), &nals);
  uint32_t expected = 0;
  for (const NalUnit& nal : nals) expected += 4 + nal.size;
  EXPECT_EQ(video.sizes[2], expected);
}

TEST_F(CopyTest, ParameterSetsThatComeAloneGoWithTheNextPicture) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  const std::string picture =
      WithoutNal(WithoutNal(unit, kxrtc::H264::kNaluTypeSps), kxrtc::H264::kNaluTypePps);
  const std::string sets = unit.substr(0, unit.size() - WithoutNal(picture, 6).size());
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(
      10000, WithoutNal(WithoutNal(unit, kxrtc::H264::kNaluTypeIdr), kxrtc::H264::kNaluTypeSei)));
  ASSERT_TRUE(Video(20000, picture));
  Silence(1, 5);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 1u);
  EXPECT_EQ(writer_->status().video_samples_dropped, 0u);
}

TEST_F(CopyTest, NeverTakesTheParameterSetsOfAnotherStream) {
  const std::vector<std::string> filler = TinyVideo(64, 32, 1);
  const std::vector<std::string> camera = TinyVideo(32, 64, 3, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, filler[0]));
  Attributes();
  ASSERT_TRUE(Video(50000, WithoutNal(WithoutNal(camera[0], kxrtc::H264::kNaluTypeSps),
                                      kxrtc::H264::kNaluTypePps)));
  ASSERT_TRUE(Video(90000, camera[1]));
  ASSERT_TRUE(Video(130000, camera[2]));
  Silence(1, 10);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 2u);
  EXPECT_EQ(writer_->status().video_samples_dropped, 2u);
}

TEST_F(CopyTest, RaisesTimesThatAreEqualOrGoBack) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(50000, units[0]));
  ASSERT_TRUE(Video(50000, units[1]));
  ASSERT_TRUE(Video(20000, units[2]));
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  const Mp4File file = Finished();
  EXPECT_EQ(file.Track("vide").durations.size(), 3u);
  EXPECT_EQ(file.Track("soun").durations.size(), 2u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("3 timestamps are not later than the previous one; they were increased"));
}

TEST_F(CopyTest, MovesAStartFarFromZero) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  const int64_t hour = 168750 * kFrameUs;
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(hour + 10000, units[0]));
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(Audio(hour + i * kFrameUs, SilentAudio()));
  const Mp4File file = Finished();
  EXPECT_EQ(file.Track("vide").start_us, 10000);
  EXPECT_EQ(file.Track("soun").start_us, 21333);
}

TEST_F(CopyTest, ALateFirstPictureLeavesTheSoundAsItIs) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000000, units[0]));
  Silence(1, 20);
  ASSERT_TRUE(Video(10010000, units[1]));
  Silence(21, 40);
  const Mp4File file = Finished();
  EXPECT_EQ(file.Track("soun").start_us, 21333);
  EXPECT_EQ(file.Track("soun").durations, std::vector<uint32_t>(40, 1024));
  EXPECT_NEAR(file.Track("vide").TimeOfSampleUs(1), 10010156, 1);
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(CopyTest, VideoFollowsTheAudioWhenTheRecordersClockWasSetForward) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  const int64_t hour = 3600000000;
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, unit));
  Silence(1, 10);
  ASSERT_TRUE(Video(hour, unit));  // From here on the replay spaces samples by 10 ms.
  Silence(11, 20);
  ASSERT_TRUE(Video(hour + 10000, unit));
  ASSERT_TRUE(Video(hour + 20000, unit));
  Silence(21, 30);
  const Mp4Track video = Finished().Track("vide");
  EXPECT_THAT(video.durations, ElementsAre(203333, 213334, 1, 234665));
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the recorder's clock was set forward by 0:59:59.842 at 0:00:00.213: 3 "
                          "video samples follow the audio instead"));
}

TEST_F(CopyTest, FurtherStepsOfTheClockAreCounted) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Start());
  Attributes();
  Silence(1, 1);
  for (const int64_t frame : {4000, 8000, 12000}) {
    ASSERT_TRUE(Video((frame - 1) * kFrameUs, unit));
    ASSERT_TRUE(Audio(frame * kFrameUs, SilentAudio()));
    ASSERT_TRUE(Video(frame * kFrameUs, unit));  // Back in step.
  }
  EXPECT_TRUE(Stop().file_written);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the recorder's clock was set forward by 0:01:25.290 at 0:00:00.021 and "
                          "2 more times: 3 video samples follow the audio instead"));
}

TEST_F(CopyTest, VideoFollowsTheAudioThatIsToComeWhenTheClockWasSetForwardBeforeIt) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  options_.bounds = {100, 100, 1000000};
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, unit));
  ASSERT_TRUE(Video(3600000000, unit));
  Silence(1, 10);
  ASSERT_TRUE(Video(3600010000, unit));
  Silence(11, 20);
  EXPECT_LT(Finished().Track("vide").EndUs(), 1000000);
  EXPECT_THAT(writer_->status().warnings,
              Contains(::testing::HasSubstr("the recorder's clock was set forward by ")));
}

TEST_F(CopyTest, AnEmptyPictureWithoutAnAddressIsLeftOut) {
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
  ASSERT_TRUE(writer_->PushVideoSample(20000, nullptr, 0));
  EXPECT_FALSE(writer_->PushVideoSample(30000, nullptr, 1));
  EXPECT_EQ(Finished().Track("vide").durations.size(), 1u);
}

TEST_F(CopyTest, WithoutAudioAPauseIsAsLongAsTheFileCanTell) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(0, unit));
  ASSERT_TRUE(Video(3600000000, unit));
  ASSERT_TRUE(Video(3600100000, unit));
  EXPECT_THAT(Finished().Track("vide").durations, ElementsAre(2000000000, 100001, 100001));
  EXPECT_THAT(
      writer_->status().warnings,
      Contains(
          "the video pauses for longer than the file can represent; 0:26:40.056 of it are left "
          "out"));
}

TEST_F(CopyTest, AConstantRotationStandsInTheTrack) {
  ASSERT_TRUE(Start());
  Attributes(450);
  ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
  Silence(1, 5);
  const Mp4Track video = Finished().Track("vide");
  // Clockwise by a quarter: x' = -y, y' = x, in 16.16.
  EXPECT_THAT(std::vector<int32_t>(video.matrix.begin(), video.matrix.begin() + 5),
              ElementsAre(0, 0x10000, 0, -0x10000, 0));
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(CopyTest, ARotationThatChangesIsToldWithItsTimes) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  Attributes(90);
  ASSERT_TRUE(Video(100000, units[1]));
  Attributes();
  ASSERT_TRUE(Video(190000, units[2]));
  Silence(1, 20);
  EXPECT_EQ(Finished().Track("vide").matrix[0], 0x10000);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the pictures should be rotated clockwise from 0:00:00.100 to "
                          "0:00:00.190 by 90 degrees, which copied video cannot do; use encode "
                          "mode"));
}

void PushIcon(Mp4SinkWriterImp* writer, int64_t time_us) {
  ASSERT_TRUE(writer->SetNewInputVideoAttributes(640, 360, 0));
  for (const kxrtc::IconFrame& frame : kxrtc::kIconFrames) {
    ASSERT_TRUE(writer->PushVideoSample(time_us, frame.data, frame.size));
    time_us += 10000;
  }
}

TEST_F(CopyTest, SizeAndRotationAreThoseOfTheRecordedPicturesShownLongest) {
  const std::string small = TinyVideo(64, 32, 1)[0];
  const std::string large = TinyVideo(128, 96, 1)[0];
  ASSERT_TRUE(Start());
  PushIcon(writer_.get(), 0);
  Silence(1, 100);  // The icon is shown for 2 s.
  Attributes(90);
  ASSERT_TRUE(Video(100 * kFrameUs, large));
  Silence(101, 150);
  Attributes();
  ASSERT_TRUE(Video(150 * kFrameUs, small));
  Silence(151, 160);
  const Mp4Track video = Finished().Track("vide");
  EXPECT_EQ(video.width, 128u);
  EXPECT_EQ(video.height, 96u);
  EXPECT_EQ(video.matrix[1], 0x10000);
  EXPECT_EQ(kx_testing::RunShell("ffprobe -v error -select_streams v -show_entries "
                                 "stream=width,height,coded_height -of csv=p=0 " +
                                 path_)
                .errors,
            "");
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the pictures should be rotated clockwise from 0:00:03.200 to "
                          "0:00:03.434 by 0 degrees, which copied video cannot do: it rotates all "
                          "by 90 degrees; use encode mode"));
}

TEST_F(CopyTest, WithTheIconAloneItsSizeIsThatOfTheConfiguration) {
  ASSERT_TRUE(Start());
  PushIcon(writer_.get(), 0);
  Silence(1, 100);
  const Mp4Track video = Finished().Track("vide");
  EXPECT_EQ(video.width, 64u);
  EXPECT_EQ(video.durations.size(), 1u);
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(CopyTest, AtAJoinNoIconFlashesUp) {
  ASSERT_TRUE(Start());
  PushIcon(writer_.get(), kFrameUs);
  Silence(1, 8);
  Attributes();
  ASSERT_TRUE(Video(9 * kFrameUs, TinyVideo(64, 32, 1)[0]));
  Silence(9, 20);
  const Mp4Track video = Finished().Track("vide");
  EXPECT_EQ(video.start_us, 21333);
  EXPECT_EQ(video.durations.size(), 1u);
}

TEST_F(CopyTest, WithoutVideoTheFileHoldsAudioAlone) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  const Mp4File file = Finished();
  ASSERT_EQ(file.tracks.size(), 1u);
  EXPECT_EQ(file.Track("soun").sizes.size(), 20u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the record contains no video that can be shown"));
}

TEST_F(CopyTest, WithoutAudioTheFileHoldsVideoAlone) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(Video(110000, units[1]));
  const Mp4File file = Finished();
  ASSERT_EQ(file.tracks.size(), 1u);
  EXPECT_THAT(file.Track("vide").durations, ElementsAre(100002, 100002));
  EXPECT_THAT(writer_->status().warnings, ElementsAre("the record contains no audio"));
}

TEST_F(CopyTest, VideoThatBeginsTooLateIsLeftOut) {
  const std::string large(1 << 20, '\0');
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  for (int i = 2; i <= 18; ++i) ASSERT_TRUE(Audio(i * kFrameUs, SilentAudio() + large));
  ASSERT_TRUE(Video(20 * kFrameUs, TinyVideo(64, 32, 1)[0]));
  const Mp4File file = Finished();
  EXPECT_EQ(file.tracks.size(), 1u);
  EXPECT_THAT(writer_->status().warnings,
              Contains("the video starts too long after the audio; the MP4 does not contain it"));
}

TEST_F(CopyTest, AudioThatBeginsTooLateIsLeftOut) {
  const std::string unit = TinyVideo(64, 32, 1)[0] + std::string(1 << 20, 'x');
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(Video(i * 40000, unit));
  Silence(38, 39);
  const Mp4File file = Finished();
  EXPECT_EQ(file.tracks.size(), 1u);
  EXPECT_THAT(writer_->status().warnings,
              Contains("the audio starts too long after the video; the MP4 does not contain it"));
}

}  // namespace
}  // namespace kxrtc_host
