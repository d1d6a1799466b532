// Encoders by choice, and the list of them, on whatever machine the test runs.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <filesystem>
#include <memory>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

Json::Value List() {
  const ShellResult run = RunKxrtc("encoders --json");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  Json::Value value;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  std::string problem;
  const char* const text = run.output.data();
  EXPECT_TRUE(reader->parse(text, text + run.output.size(), &value, &problem)) << problem;
  return value;
}

class EncoderOptionTest : public ::testing::Test {
 protected:
  EncoderOptionTest() {
    kx_testing::ConferenceRecord(record_, kx_testing::MakeAudio(20, 2, true))
        .Start()
        .Speaks(kx_testing::kCamera, {"Ada", 320, 240, "main", 4, 4})
        .Stop()
        .builder()
        .Write();
  }
  ShellResult Transcode(const std::string& options) {
    return RunKxrtc("transcode --json --force " + options + " " + record_.path() + " " +
                    out_.File("out.mp4"));
  }

  TempDir record_;
  TempDir out_;
};

TEST(EncodersCommandTest, ListsAllThatCanBeChosenWithTheReasons) {
  const Json::Value list = List();
  std::vector<std::string> names;
  const std::string text = RunKxrtc("encoders").output;
  for (const Json::Value& encoder : list["encoders"]) {
    names.push_back(encoder["name"].asString());
    EXPECT_EQ(encoder["works"].asBool(), !encoder.isMember("reason"));
    EXPECT_THAT(encoder["reason"].asString(), Not(HasSubstr("0x")));
    EXPECT_THAT(text, HasSubstr(names.back() + " "));
  }
  EXPECT_THAT(names,
              ElementsAre("libx264", "h264_vaapi", "h264_qsv", "h264_nvenc", "h264_v4l2m2m"));
  EXPECT_TRUE(list["encoders"][0]["works"].asBool());
  EXPECT_THAT(text, HasSubstr("libx264       works here\n"));
  EXPECT_THAT(text, HasSubstr("auto          takes " + list["auto"].asString() + "\n"));
}

TEST_F(EncoderOptionTest, EachDoesWhatTheListSays) {
  for (const Json::Value& encoder : List()["encoders"]) {
    const std::string name = encoder["name"].asString();
    const ShellResult run = Transcode("--encoder " + name);
    if (encoder["works"].asBool()) {
      EXPECT_EQ(run.exit_status, 0) << run.output;
      EXPECT_THAT(run.output, HasSubstr("\"video\":\"" + name + "\""));
      std::filesystem::remove(out_.File("out.mp4"));
    } else {
      EXPECT_EQ(run.exit_status, 1) << run.output;
      EXPECT_THAT(run.output, HasSubstr("; kxrtc encoders lists what works on this machine"));
      EXPECT_TRUE(std::filesystem::is_empty(out_.path())) << name;
    }
  }
}

TEST_F(EncoderOptionTest, AutoTakesWhatTheListSays) {
  EXPECT_THAT(Transcode("--encoder auto").output,
              HasSubstr("\"video\":\"" + List()["auto"].asString() + "\""));
}

TEST_F(EncoderOptionTest, AnotherEncoderIsAnotherMp4) {
  const auto run = [this](const std::string& options) {
    return RunKxrtc("transcode --if-needed " + options + " " + record_.path() + " " +
                    out_.File("out.mp4"))
        .output;
  };
  for (const char* options : {"--no-hardware", "--encoder libx264", "--encoder auto"}) {
    EXPECT_THAT(run(options), HasSubstr("video encoded by")) << options;
    EXPECT_THAT(run(options), HasSubstr("is up to date")) << options;
  }
}

TEST_F(EncoderOptionTest, WhatMakesNoSenseIsRefusedWithWhatToDo) {
  struct Case {
    const char* options;
    const char* text;
  };
  for (const Case& test : {Case{"--encoder mpeg4", "--encoder: there is no mpeg4; it takes auto, "},
                           Case{"--encoder libx264 --video copy", "use --video encode"},
                           Case{"--encoder auto --no-hardware", "leave one of the two out"},
                           Case{"--encoder h264_qsv --no-hardware", "leave one of the two out"},
                           Case{"--encoder h264_v4l2m2m --quality 23", "use --bit-rate instead"},
                           Case{"--encoder h264_qsv --preset fast", "use --encoder libx264"}}) {
    const ShellResult run = Transcode(test.options);
    EXPECT_EQ(run.exit_status, 2) << test.options;
    EXPECT_THAT(run.errors, HasSubstr(test.text));
  }
  EXPECT_TRUE(std::filesystem::is_empty(out_.path()));
}

}  // namespace
