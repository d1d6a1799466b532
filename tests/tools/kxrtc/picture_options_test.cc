// Size, frame rate and bit rate of encoded pictures, judged by ffprobe.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::ConferenceRecord;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::HasSubstr;

class PictureOptionsTest : public ::testing::Test {
 protected:
  ConferenceRecord Conference(int audio_frames = 50) {
    return ConferenceRecord(record_, kx_testing::MakeAudio(audio_frames, 2, true));
  }
  void WriteCamera(int32_t rotation = 0) {
    Conference()
        .Start()
        .Speaks(kx_testing::kCamera, {"Ada", 320, 240, "main", 24, 24}, rotation)
        .Stop()
        .builder()
        .Write();
  }
  ShellResult Transcode(const std::string& options) {
    return RunKxrtc("transcode --quiet --force --preset ultrafast " + options + " " +
                    record_.path() + " " + mp4_);
  }
  // "1920x1080 at 30/1".
  std::string Video() {
    const ShellResult probe = RunShell(
        "ffprobe -v error -select_streams v -show_entries stream=width,height,r_frame_rate "
        "-of csv=p=0 " +
        mp4_ + " | sed 's/,/x/;s/,/ at /'");
    EXPECT_EQ(probe.errors, "");
    return probe.output.substr(0, probe.output.find('\n'));
  }
  int64_t Pictures() {
    return std::atoi(RunShell("ffprobe -v error -select_streams v -count_frames -show_entries "
                              "stream=nb_read_frames -of csv=p=0 " +
                              mp4_)
                         .output.c_str());
  }
  static Json::Value Document(const std::string& text) {
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::string problem;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &problem)) << problem;
    return value;
  }
  static int64_t Estimate(const std::string& arguments) {
    return Document(RunKxrtc("estimate --json " + arguments).output)["estimated_bytes"].asInt64();
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
};

TEST_F(PictureOptionsTest, TheMp4HasTheChosenSizeAndFrameRate) {
  WriteCamera();
  EXPECT_EQ(Transcode("").errors, "");
  EXPECT_EQ(Video(), "640x360 at 24/1");
  EXPECT_EQ(Transcode("--size 480x272").errors, "");
  EXPECT_EQ(Video(), "480x272 at 24/1");
  EXPECT_EQ(Transcode("--frame-rate 30").errors, "");
  EXPECT_EQ(Video(), "640x360 at 30/1");
  EXPECT_EQ(Transcode("--size source --frame-rate 10").errors, "");
  EXPECT_EQ(Video(), "320x240 at 10/1");
}

TEST_F(PictureOptionsTest, PicturesOfALowFrameRateHaveTheTimesOfTheSound) {
  Conference(150)
      .Start()
      .Speaks(kx_testing::kCamera, {"Ada", 320, 240, "main", 72, 24})  // For 3 s.
      .Stop()
      .builder()
      .Write();
  for (const int frame_rate : {1, 9, 10}) {
    SCOPED_TRACE(frame_rate);
    const std::string rate = std::to_string(frame_rate);
    EXPECT_EQ(Transcode("--frame-rate " + rate).errors, "");
    EXPECT_EQ(Video(), "640x360 at " + rate + "/1");
    const ShellResult last =
        RunShell("ffprobe -v error -select_streams v -show_entries packet=pts_time -of csv=p=0 " +
                 mp4_ + " | sort -n | tail -1");
    const double last_s = std::atof(last.output.c_str());
    EXPECT_NEAR(last_s, 3.0 - 0.5 / frame_rate, 0.5 / frame_rate + 0.05);
    EXPECT_EQ(Pictures(), std::lround(last_s * frame_rate) + 1);
  }
}

TEST_F(PictureOptionsTest, TheSourceOfATurnedCameraIsUpright) {
  WriteCamera(90);
  EXPECT_EQ(Transcode("--size source").errors, "");
  EXPECT_EQ(Video(), "240x320 at 24/1");
}

TEST_F(PictureOptionsTest, A4kConferenceStays4k) {
  Conference(20)
      .Start()
      .Speaks(kx_testing::kCamera, {"Ada", 320, 240, "main", 4, 4})
      .Speaks(kx_testing::kDesktop, {"screen", 3840, 2160, "high", 3, 3})
      .Stop()
      .builder()
      .Desktop(true)
      .Write();
  const ShellResult run = Transcode("--json --size source");
  EXPECT_EQ(Video(), "3840x2160 at 24/1");
  EXPECT_THAT(run.output, HasSubstr("\"height\":2160"));
  EXPECT_THAT(run.output, HasSubstr("\"width\":3840"));
  EXPECT_THAT(run.output, HasSubstr("\"frame_rate\":24"));
  EXPECT_EQ(RunShell("ffmpeg -nostdin -v warning -i " + mp4_ + " -f null -").errors, "");
}

TEST_F(PictureOptionsTest, ASourceBeyondTheLevelIsScaledDownAndItIsSaid) {
  Conference(10)
      .Start()
      .Speaks(kx_testing::kDesktop, {"wall", 5120, 2880, "high", 1, 1})
      .Stop()
      .builder()
      .Desktop(true)
      .Write();
  EXPECT_THAT(Transcode("--size source").errors,
              HasSubstr("recorded pictures of 5120x2880 are more than H.264 level 5.2 allows at 24 "
                        "frames a second; they become 40"));
  EXPECT_THAT(Video(), HasSubstr(" at 24/1"));
}

TEST_F(PictureOptionsTest, BitRateAndQualityMakeSmallerAndLargerFiles) {
  WriteCamera();
  const auto size_with = [this](const std::string& options) {
    EXPECT_EQ(Transcode(options).errors, "");
    return std::filesystem::file_size(mp4_);
  };
  EXPECT_LT(size_with("--bit-rate 50"), size_with("--bit-rate 2000"));
  EXPECT_LT(size_with("--quality 45"), size_with("--quality 10"));
}

TEST_F(PictureOptionsTest, TheEstimateFollows) {
  WriteCamera();
  const std::string folder = record_.path();
  const int64_t usual = Estimate(folder);
  EXPECT_NEAR(Estimate(folder + " --bit-rate 800"), 2 * usual, 3);
  EXPECT_NEAR(Estimate(folder + " --size 1280x720"), 3 * usual, 3);
  EXPECT_EQ(Estimate(folder + " --size source"), Estimate(folder + " --size 320x240"));
  EXPECT_EQ(Estimate(folder + " --frame-rate 24"), usual);
  EXPECT_GT(Estimate(folder + " --frame-rate 30"), usual);
}

TEST_F(PictureOptionsTest, VerifyPredictsThePicturesOfAFrameRate) {
  Conference()
      .Start()
      .Speaks(kx_testing::kCamera, {"Ada", 320, 240, "main", 24, 24}, 0, 3)
      .AudioOnly(700)
      .Stop()
      .builder()
      .Write();
  for (const char* rate : {"1", "7", "30", "60"}) {
    const std::string option = std::string("--frame-rate ") + rate;
    EXPECT_EQ(Transcode("--size 64x48 " + option).errors, "");
    const Json::Value said =
        Document(RunKxrtc("verify --json " + option + " " + record_.path()).output);
    EXPECT_EQ(said["replay"]["encode"]["video_samples"].asInt64(), Pictures()) << rate;
  }
}

TEST_F(PictureOptionsTest, AnotherChoiceIsAnotherMp4) {
  WriteCamera();
  const auto run = [this](const std::string& options) {
    return RunKxrtc("transcode --if-needed --preset ultrafast " + options + " " + record_.path() +
                    " " + mp4_)
        .output;
  };
  const char* const choices[] = {
      "", "--size 480x272", "--size source", "--quality 30", "--bit-rate 99", "--frame-rate 25"};
  for (const char* choice : choices) {
    EXPECT_THAT(run(choice), HasSubstr("video encoded by")) << choice;
    EXPECT_THAT(run(choice), HasSubstr("is up to date")) << choice;
  }
}

TEST_F(PictureOptionsTest, WhatMakesNoSenseIsRefusedWithWhatToDo) {
  WriteCamera();
  struct Case {
    const char* options;
    const char* text;
  };
  for (const Case& test :
       {Case{"--size 641x360", "are not even"}, Case{"--size 8x8", "is too small"},
        Case{"--size 7680x4320", "choose a size such as 3840x2160"},
        Case{"--size 4096x2304 --frame-rate 60", "choose a lower frame rate"},
        Case{"--size huge", "is not a size such as 1920x1080, nor source"},
        Case{"--size 640x", "is not a size"}, Case{"--size 1x2x3", "is not a size"},
        Case{"--size 99999999999x2", "is not a size"},
        Case{"--frame-rate 0", "is not a whole number from 1 to 60"},
        Case{"--frame-rate 23.976", "is not a whole number from 1 to 60"},
        Case{"--bit-rate 99999999999", "is not a whole number from 16 to 240000"},
        Case{"--quality 52", "is not a whole number from 1 to 51"},
        Case{"--quality 20 --bit-rate 400", "excludes"},
        Case{"--video copy --size source", "use --video encode"},
        Case{"--video copy --frame-rate 25", "use --video encode"}}) {
    const ShellResult run = Transcode(test.options);
    EXPECT_EQ(run.exit_status, 2) << test.options;
    EXPECT_THAT(run.errors, HasSubstr(test.text));
  }
  EXPECT_TRUE(std::filesystem::is_empty(out_.path()));
}

}  // namespace
