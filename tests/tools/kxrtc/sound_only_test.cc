// kxrtc transcode --video none: the sound of a record without its pictures.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/timeline_lines.h"

namespace {

using kx_testing::ConferenceRecord;
using kx_testing::MakeAudio;
using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr int64_t kStartUs = 30000000;  // Of the first session of a ConferenceRecord.

class SoundOnlyTest : public ::testing::Test {
 protected:
  void WriteConference() {
    ConferenceRecord record(record_, MakeAudio(200, 2, true));
    record.Start();
    record.AudioOnly(300);
    record.Speaks(kx_testing::kCamera, {"anna", 320, 180, "high", 48, 24, 1, false, "blue"});
    record.Stop();
    record.builder().Write();
  }
  ShellResult Transcode(const std::string& options, const std::string& output) {
    return RunKxrtc("transcode " + Quoted(record_.path()) + " " + Quoted(output) + " " + options);
  }
  // Hash and time of each packet of sound.
  static std::string Packets(const std::string& path) {
    const ShellResult hashes = RunShell("ffmpeg -nostdin -v warning -copyts -i " + Quoted(path) +
                                        " -map 0:a -c copy -f framehash -");
    EXPECT_EQ(hashes.errors, "");
    return hashes.output.substr(hashes.output.find("#stream#"));
  }
  static void ExpectDecodesWithoutAMessage(const std::string& path) {
    const ShellResult run =
        RunShell("ffmpeg -nostdin -v warning -i " + Quoted(path) + " -f null -");
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.errors, "");
  }

  TempDir record_;
  TempDir out_;
  std::string sound_ = out_.File("out.m4a");
  std::string film_ = out_.File("out.mp4");
};

TEST_F(SoundOnlyTest, HasThePacketsOfTheMp4AtTheirTimes) {
  WriteConference();
  ASSERT_EQ(Transcode("--video copy", film_).exit_status, 0);
  const ShellResult run = Transcode("--video none", sound_);
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_THAT(run.errors, Not(HasSubstr("warning")));
  EXPECT_THAT(run.output,
              AllOf(HasSubstr("no video, sound not examined"), Not(HasSubstr("copied"))));
  const kx_testing::Mp4File file = kx_testing::ReadMp4(sound_);
  ASSERT_EQ(file.tracks.size(), 1u);
  EXPECT_EQ(file.tracks[0].handler, "soun");
  EXPECT_GT(file.tracks[0].sizes.size(), 100u);
  EXPECT_EQ(Packets(sound_), Packets(film_));
  ExpectDecodesWithoutAMessage(sound_);
}

TEST_F(SoundOnlyTest, KeepsChaptersTitleAndCaptions) {
  WriteConference();
  kx_testing::TimelineLines()
      .Start(kStartUs)
      .Join(kStartUs, 1, "Ada")
      .Select(kStartUs + 300000, 1, 11)
      .Voice(kStartUs + 400000, 1, true)
      .Voice(kStartUs + 900000, 1, false)
      .Write(record_);
  const std::string captions = out_.File("out.vtt");
  const ShellResult run = Transcode(
      "--video none --json --check-sound --chapter-min 0 --captions " + Quoted(captions), sound_);
  ASSERT_EQ(run.exit_status, 0) << run.output << run.errors;
  Json::Value done;
  std::istringstream lines(run.output);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_TRUE(Json::Reader().parse(line, done));
    EXPECT_NE(done["event"].asString(), "warning") << line;
  }
  EXPECT_EQ(done["video"].asString(), "none");
  EXPECT_EQ(done["video_samples"].asInt(), 0);
  EXPECT_TRUE(done["sound_examined"].asBool());
  EXPECT_EQ(done["title"].asString(), "Weekly");
  EXPECT_GT(done["chapters"].asInt(), 0);
  EXPECT_THAT(kx_testing::ReadFile(captions), HasSubstr("00:00:00.400 --> 00:00:00.900"));
  EXPECT_THAT(RunShell("ffprobe -v error -show_chapters " + Quoted(sound_)).output,
              HasSubstr("title=Ada"));
}

TEST_F(SoundOnlyTest, WorksWithoutVideo) {
  ConferenceRecord record(record_, MakeAudio(60, 2, false));
  record.Start();
  record.AudioOnly(1000);
  record.Stop();
  record.builder().Write();
  const ShellResult run = Transcode("--video none --quiet", sound_);
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_THAT(run.errors, IsEmpty());
  EXPECT_EQ(kx_testing::ReadMp4(sound_).tracks.size(), 1u);
  ExpectDecodesWithoutAMessage(sound_);
}

TEST_F(SoundOnlyTest, IsNothingForARecordWithoutSound) {
  kx_testing::RecordBuilder builder(record_);
  builder.Start(0).Channel(1, kx_testing::kCamera).Attributes(2, 128, 96);
  int64_t time_us = 3;
  for (const std::string& picture : kx_testing::MakeVideo({"mute", 128, 96, "high", 24, 24})) {
    builder.Video(time_us += 41667, picture);
  }
  builder.Stop(time_us + 1).Write();
  const ShellResult run = Transcode("--video none", sound_);
  EXPECT_EQ(run.exit_status, 8);
  EXPECT_THAT(run.errors, AllOf(HasSubstr("the record contains no audio"),
                                HasSubstr("contains nothing to play")));
  EXPECT_FALSE(std::filesystem::exists(sound_));
}

TEST_F(SoundOnlyTest, RefusesOptionsOfPictures) {
  WriteConference();
  for (const char* option : {"--still-share icon", "--preset fast", "--no-hardware"}) {
    const ShellResult run = Transcode("--video none " + std::string(option), sound_);
    EXPECT_EQ(run.exit_status, 2) << option;
    EXPECT_THAT(run.errors, HasSubstr("--video none keeps none; leave it out")) << option;
  }
}

}  // namespace
