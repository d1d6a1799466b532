// Which encoder the writer uses, with encoders that the test makes work or not.
#include "host/mp4/encoder_choice.h"

#include <gmock/gmock.h>

#include "host/mp4/encoder_list.h"
#include "tests/testing/fake_encoders.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/mp4_writer_fixture.h"

namespace kxrtc_host {
namespace {

using kx_testing::TinyVideo;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class EncoderChoiceTest : public kx_testing::EncodeTest {
 protected:
  EncoderChoiceTest() { options_.encoder_opener = &opener_; }

  void Play(int audio_frames) {
    Attributes();
    ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
    Silence(1, audio_frames);
  }
  // The encoder of a whole file.
  std::string EncoderInUse() {
    EXPECT_TRUE(Start());
    Play(10);
    EXPECT_FALSE(Finished().Track("vide").durations.empty());
    return writer_->status().video_encoder;
  }

  kx_testing::FakeEncoderOpener opener_;
};

TEST_F(EncoderChoiceTest, AutoTakesTheFirstHardwareThatWorks) {
  opener_.working = {"h264_vaapi", "h264_v4l2m2m", "libx264"};
  ChooseEncoder("auto", &options_);
  EXPECT_EQ(EncoderInUse(), "h264_vaapi");
  EXPECT_THAT(opener_.asked, ElementsAre("h264_nvenc", "h264_qsv", "h264_vaapi"));
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(EncoderChoiceTest, AutoFallsBackToSoftwareAndTheLogSaysWhy) {
  opener_.working = {"libx264"};
  ChooseEncoder("auto", &options_);
  const kx_testing::ScopedLogCapture log;
  EXPECT_EQ(EncoderInUse(), "libx264");
  EXPECT_THAT(opener_.asked,
              ElementsAre("h264_nvenc", "h264_qsv", "h264_vaapi", "h264_v4l2m2m", "libx264"));
  EXPECT_THAT(log.lines(),
              Contains("INFO falling back: h264_vaapi does not start: there is no such chip"));
}

TEST_F(EncoderChoiceTest, AutoWithoutHardwareIsSoftware) {
  opener_.working = {"h264_nvenc", "libx264"};
  ChooseEncoder("auto", &options_);
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  ASSERT_TRUE(writer_->SetPreferHW(false));
  ASSERT_TRUE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
  EXPECT_THAT(opener_.asked, ElementsAre("libx264"));
}

TEST_F(EncoderChoiceTest, ANamedEncoderIsTheOnlyOneTried) {
  opener_.working = {"h264_nvenc", "h264_qsv", "libx264"};
  ChooseEncoder("h264_qsv", &options_);
  EXPECT_EQ(EncoderInUse(), "h264_qsv");
  EXPECT_THAT(opener_.asked, ElementsAre("h264_qsv"));
}

TEST_F(EncoderChoiceTest, ANamedEncoderThatDoesNotWorkGivesNoFile) {
  opener_.working = {"libx264"};
  for (const char* name : {"h264_vaapi", "h264_qsv", "h264_nvenc", "h264_v4l2m2m"}) {
    ChooseEncoder(name, &options_);
    EXPECT_FALSE(Start());
    EXPECT_EQ(Stop().failure, WriterFailure::kEncoder);
    EXPECT_EQ(writer_->status().failure_text,
              std::string(name) + " does not start: there is no such chip");
  }
  EXPECT_THAT(Names(), IsEmpty());
}

// The parameter sets of another encoder would not fit the pictures that are written already.
TEST_F(EncoderChoiceTest, AnEncoderThatFailsInTheMiddleEndsTheRun) {
  opener_.working = {"h264_vaapi", "libx264"};
  opener_.pictures = 5;
  ChooseEncoder("auto", &options_);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
  bool goes_on = true;
  for (int i = 1; goes_on && i < 100; ++i) {
    goes_on = Audio(i * kx_testing::kFrameUs, kx_testing::SilentAudio());
  }
  EXPECT_FALSE(goes_on);
  EXPECT_EQ(Stop().failure, WriterFailure::kVideo);
  EXPECT_EQ(writer_->status().failure_text,
            "h264_vaapi fails: Input/output error; choose another encoder if it fails again");
  EXPECT_THAT(observer_.errors, SizeIs(1));
  EXPECT_THAT(opener_.asked, ElementsAre("h264_nvenc", "h264_qsv", "h264_vaapi"));
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(EncoderChoiceTest, TheListTellsWhichWorkAndWhyTheOthersDoNot) {
  opener_.working = {"libx264", "h264_qsv"};
  const std::vector<EncoderState> states = TryEncoders(opener_);
  ASSERT_EQ(states.size(), std::size(kEncoderNames));
  for (const EncoderState& state : states) {
    EXPECT_EQ(state.opens, opener_.working.count(state.name) != 0) << state.name;
    EXPECT_EQ(state.obstacle,
              state.opens ? "" : state.name + " does not start: there is no such chip");
  }
}

}  // namespace
}  // namespace kxrtc_host
