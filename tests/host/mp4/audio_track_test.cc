#include "host/mp4/audio_track.h"

#include <gmock/gmock.h>

#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::CopyTest;
using kx_testing::kFrameUs;
using kx_testing::SilentAudio;
using kx_testing::WithAdts;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(CopyTest, StripsAdtsAndTakesItsWordForTheChannels) {
  ASSERT_TRUE(Start());
  for (int i = 1; i <= 5; ++i) ASSERT_TRUE(Audio(i * kFrameUs, WithAdts(SilentAudio(1), 1)));
  EXPECT_EQ(Finished().Track("soun").sizes, std::vector<uint32_t>(5, 6));
  EXPECT_THAT(writer_->status().warnings,
              Contains("the audio has 1 channel, not 2 as the record says; the MP4 uses the "
                       "count of the audio"));
  EXPECT_THAT(kx_testing::ReadFile(path_), HasSubstr("\x05\x80\x80\x80\x02\x11\x88"));
}

TEST_F(CopyTest, AFrameThatIsFramedOtherwiseIsLeftOut) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(Audio(kFrameUs, WithAdts(SilentAudio())));
  ASSERT_TRUE(Audio(2 * kFrameUs, SilentAudio()));
  ASSERT_TRUE(Audio(3 * kFrameUs, ""));
  ASSERT_TRUE(Audio(4 * kFrameUs, WithAdts(SilentAudio())));
  EXPECT_THAT(Finished().Track("soun").durations, ElementsAre(3072, 1024));
  EXPECT_THAT(writer_->status().warnings,
              Contains("2 audio frames are empty, or framed differently from the first frame; the "
                       "MP4 does not contain them"));
}

// Whatever is torn at the start, the frames behind it are kept.
TEST_F(CopyTest, ATornFirstFrameDoesNotSettleTheFraming) {
  const std::string whole = WithAdts(SilentAudio());
  for (const std::string& torn : {std::string(200, '\x7F'), whole.substr(0, 7), whole.substr(0, 3),
                                  WithAdts(""), std::string()}) {
    SCOPED_TRACE(torn.size());
    std::filesystem::remove(path_);
    ASSERT_TRUE(Start());
    ASSERT_TRUE(writer_->PushAudioSample(
        kFrameUs, torn.empty() ? nullptr : reinterpret_cast<const uint8_t*>(torn.data()),
        static_cast<uint32_t>(torn.size())));
    for (int i = 2; i <= 10; ++i) ASSERT_TRUE(Audio(i * kFrameUs, whole));
    EXPECT_EQ(Finished().Track("soun").sizes, std::vector<uint32_t>(9, SilentAudio().size()));
    EXPECT_THAT(writer_->status().warnings,
                Contains("1 audio frame is empty, or framed differently from the first frame; "
                         "the MP4 does not contain it"));
  }
}

TEST_F(CopyTest, AnAdtsFrameAmongRawOnesIsLeftOut) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  ASSERT_TRUE(Audio(2 * kFrameUs, WithAdts(SilentAudio())));
  ASSERT_TRUE(Audio(3 * kFrameUs, SilentAudio()));
  EXPECT_THAT(Finished().Track("soun").durations, ElementsAre(2048, 1024));
}

class SilencedAudioTest : public CopyTest, public ::testing::WithParamInterface<VideoMode> {
 protected:
  SilencedAudioTest() {
    options_.video_mode = GetParam();
    options_.check_sound = true;
  }

  // Frames 4, 5 and 100 do not decode.
  void PushDamaged() {
    for (int i = 1; i <= 100; ++i) {
      const bool is_damaged = i == 4 || i == 5 || i == 100;
      ASSERT_TRUE(Audio(i * kFrameUs, WithAdts(is_damaged ? "damaged" : SilentAudio())));
    }
  }
};

TEST_P(SilencedAudioTest, AFrameThatDoesNotDecodeIsReplacedAndTold) {
  ASSERT_TRUE(Start());
  PushDamaged();
  std::vector<uint32_t> sizes(100, 9);
  for (const size_t number : {4, 5, 100}) sizes[number - 1] = 6;
  EXPECT_EQ(Finished().Track("soun").sizes, sizes);
  EXPECT_THAT(kx_testing::ReadFile(path_), HasSubstr(std::string("\x21\0\0\0\0\x1C", 6)));
  EXPECT_EQ(writer_->status().audio_frames_silenced, 3u);
  EXPECT_EQ(writer_->status().audio_frames_written, 100u);
  EXPECT_TRUE(writer_->status().sound_examined);
  EXPECT_THAT(writer_->status().warnings,
              Contains("3 of 100 audio frames cannot be decoded, the first at 0:00:00.085; the MP4 "
                       "is silent there"));
}

TEST_P(SilencedAudioTest, HealthySoundStaysAsItIs) {
  for (const int count : {1, 16, 17, 500}) {
    std::filesystem::remove(path_);
    ASSERT_TRUE(Start());
    for (int i = 1; i <= count; ++i) ASSERT_TRUE(Audio(i * kFrameUs, WithAdts(SilentAudio())));
    const auto track = Finished().Track("soun");
    EXPECT_EQ(track.sizes, std::vector<uint32_t>(count, 9));
    EXPECT_EQ(track.durations, std::vector<uint32_t>(count, 1024));
    EXPECT_EQ(writer_->status().audio_frames_silenced, 0u);
    EXPECT_TRUE(writer_->status().sound_examined);
    EXPECT_THAT(writer_->status().warnings, Not(Contains(HasSubstr("decoded"))));
  }
}

TEST_P(SilencedAudioTest, EachFrameMayBeDamaged) {
  ASSERT_TRUE(Start());
  for (int i = 1; i <= 40; ++i) ASSERT_TRUE(Audio(i * kFrameUs, WithAdts("damaged")));
  EXPECT_EQ(Finished().Track("soun").sizes, std::vector<uint32_t>(40, 6));
}

TEST_P(SilencedAudioTest, ARawFrameOfAnySizeIsReplaced) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  ASSERT_TRUE(Audio(2 * kFrameUs, std::string(20 << 20, '\x21')));
  EXPECT_THAT(Finished().Track("soun").sizes, ElementsAre(9, 6));
}

TEST_P(SilencedAudioTest, AStopHalfWayLeavesNothing) {
  ASSERT_TRUE(Start());
  PushDamaged();
  writer_->Discard();
  EXPECT_FALSE(Stop().file_written);
  EXPECT_THAT(Names(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Modes, SilencedAudioTest,
                         ::testing::Values(VideoMode::kCopy, VideoMode::kEncode),
                         [](const auto& param) {
                           return param.param == VideoMode::kCopy ? "Copy" : "Encode";
                         });

TEST_F(CopyTest, WithoutACheckAFrameThatDoesNotDecodeIsCopied) {
  ASSERT_TRUE(Start());
  for (int i = 1; i <= 9; ++i) ASSERT_TRUE(Audio(i * kFrameUs, WithAdts("damaged")));
  EXPECT_EQ(Finished().Track("soun").sizes, std::vector<uint32_t>(9, 7));
  EXPECT_FALSE(writer_->status().sound_examined);
}

struct RefusedAudioCase {
  const char* name;
  std::string frame;
  uint32_t channels;
  const char* text;
};

class RefusedAudioTest : public CopyTest, public ::testing::WithParamInterface<RefusedAudioCase> {};

TEST_P(RefusedAudioTest, EndsTheRunWithItsMessage) {
  audio_.channel_count = GetParam().channels;
  ASSERT_TRUE(Start());
  int pushed = 0;
  while (pushed < 100 && Audio((pushed + 1) * kFrameUs, GetParam().frame)) ++pushed;
  EXPECT_LT(pushed, 5);
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_FALSE(Audio(10000000, SilentAudio()));
  EXPECT_FALSE(Video(10000000, "x"));
  EXPECT_FALSE(writer_->SetNewInputVideoAttributes(64, 32, 0));
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kAudio);
  EXPECT_EQ(writer_->status().failure_text, GetParam().text);
  EXPECT_EQ(observer_.errors.size(), 1u);
  EXPECT_THAT(Names(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RefusedAudioTest,
    ::testing::Values(
        RefusedAudioCase{"Adts44100", WithAdts(SilentAudio(), 2, 4), 2,
                         "the audio has 44100 samples a second, but a record must have 48000"},
        RefusedAudioCase{"NoChannels", SilentAudio(), 0,
                         "the audio has 0 channels, which MP4 cannot represent"},
        RefusedAudioCase{"NineChannels", SilentAudio(), 9,
                         "the audio has 9 channels, which MP4 cannot represent"},
        RefusedAudioCase{"NoAac", std::string(200, '\x7F'), 2,
                         "the audio is not AAC with 48000 samples a second"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace kxrtc_host
