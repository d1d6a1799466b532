// kxrtc transcode --from, --to and --cut, judged by programs that nobody here wrote.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/timeline_lines.h"

namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int64_t kStartUs = 30000000;  // Of the first session of a ConferenceRecord.

class PartsCommandTest : public ::testing::Test {
 protected:
  // Two sessions of four seconds, each with a key frame a second.
  PartsCommandTest() {
    kx_testing::ConferenceRecord record(record_, kx_testing::MakeAudio(420, 2, true));
    for (const char* name : {"anna", "bert"}) {
      record.Start();
      record.Speaks(kx_testing::kCamera, {name, 320, 180, "high", 96, 24, 1, false, "blue"});
      record.Stop();
    }
    record.builder().Write();
  }
  ShellResult Transcode(const std::string& options, const std::string& output = "out.mp4") {
    return RunKxrtc("transcode --no-hardware --preset ultrafast --quiet --force " + options + " " +
                    Quoted(record_.path()) + " " + Quoted(out_.File(output)));
  }
  Json::Value Done(const std::string& options) {
    const ShellResult result = RunKxrtc("transcode --force --json " + options + " " +
                                        Quoted(record_.path()) + " " + Quoted(mp4_));
    EXPECT_EQ(result.exit_status, 0) << result.output << result.errors;
    Json::Value done;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(Json::Reader().parse(line, done));
    return done;
  }
  std::string RecordBytes() const {
    std::string bytes;
    for (const char* extension : {"index", "264", "aac", "desc"}) {
      bytes += ReadFile(record_.File(std::string("SpeakeRecord.") + extension));
    }
    return bytes;
  }
  static void ExpectDecodesWithoutAMessage(const std::string& path) {
    const ShellResult run =
        RunShell("ffmpeg -nostdin -v warning -i " + Quoted(path) + " -f null -");
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.errors, "") << path;
  }
  // Seconds that the stream ("v" or "a") has, decoded.
  static double Duration(const std::string& path, const std::string& stream) {
    const ShellResult probe =
        RunShell("ffprobe -v error -select_streams " + stream +
                 " -show_entries stream=duration -of csv=p=0 " + Quoted(path));
    return std::atof(probe.output.c_str());
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
};

TEST_F(PartsCommandTest, KeepsWhatWasAskedForInEachMode) {
  const std::string before = RecordBytes();
  for (const std::string mode : {"encode", "copy", "none"}) {
    const std::string options = " --video " + mode + " --cut 2.5-3.5 --cut 0:05.25-6";
    const ShellResult run =
        mode == "none" ? RunKxrtc("transcode --quiet --force --from 0.75 --to 7" + options + " " +
                                  Quoted(record_.path()) + " " + Quoted(mp4_))
                       : Transcode("--from 0.75 --to 7" + options);
    ASSERT_EQ(run.exit_status, 0) << run.errors;
    ExpectDecodesWithoutAMessage(mp4_);
    EXPECT_NEAR(Duration(mp4_, "a"), 4.5, 0.06) << mode;
    EXPECT_NEAR(Duration(mp4_, "v"), mode == "none" ? 0 : 4.5, 0.06) << mode;
    if (mode == "copy") {
      EXPECT_THAT(run.errors, AllOf(HasSubstr("starts at the key frame 0:00:00.74"),
                                    HasSubstr("until the next key frame in 2 places")));
    } else {
      EXPECT_EQ(run.errors, "");
    }
  }
  EXPECT_TRUE(RecordBytes() == before);
}

TEST_F(PartsCommandTest, GivesTheSameSoundInAllModesThatCopyIt) {
  const std::string parts = "--from 0.75 --to 7 --cut 2.5-3.5 ";
  ASSERT_EQ(Transcode(parts + "--video copy").exit_status, 0);
  ASSERT_EQ(RunKxrtc("transcode --quiet --video none " + parts + Quoted(record_.path()) + " " +
                     Quoted(out_.File("out.m4a")))
                .exit_status,
            0);
  std::string packets[2];
  for (const int i : {0, 1}) {
    packets[i] = RunShell("ffmpeg -nostdin -v error -copyts -i " +
                          Quoted(i == 0 ? mp4_ : out_.File("out.m4a")) +
                          " -map 0:a -c copy -f framehash - | grep -v '^#'")
                     .output;
  }
  EXPECT_GT(packets[0].size(), 1000u);
  EXPECT_EQ(packets[0], packets[1]);
}

TEST_F(PartsCommandTest, MovesChaptersAndCaptions) {
  kx_testing::TimelineLines()
      .Start(kStartUs)
      .Join(kStartUs, 1, "Ada")
      .Join(kStartUs, 2, "Ben")
      .Join(kStartUs, 3, "Cem")
      .Select(kStartUs + 1, 1, 11)
      .Voice(kStartUs + 100000, 1, true)
      .Voice(kStartUs + 1100000, 1, false)
      .Select(kStartUs + 1500000, 2, 12)
      .Voice(kStartUs + 1600000, 2, true)
      .Voice(kStartUs + 1900000, 2, false)
      .Select(kStartUs + 2000000, 3, 13)
      .Voice(kStartUs + 2500000, 3, true)
      .Voice(kStartUs + 3000000, 3, false)
      .Write(record_);
  const std::string captions = out_.File("out.vtt");
  const Json::Value done = Done(
      "--video copy --chapter-min 0 --from 0.5 --to 4 --cut 1.5-2 "
      "--captions " +
      Quoted(captions));
  EXPECT_EQ(done["parts"]["from_us"].asInt64(), 500000);
  EXPECT_EQ(done["parts"]["to_us"].asInt64(), 4000000);
  ASSERT_EQ(done["parts"]["cuts"].size(), 1u);
  EXPECT_EQ(done["parts"]["cuts"][0]["from_us"].asInt64(), 1500000);
  EXPECT_EQ(done["parts"]["cuts"][0]["to_us"].asInt64(), 2012000);  // 23.4 frames become 24.
  EXPECT_NEAR(static_cast<double>(done["duration_us"].asInt64()), 2988000, 22000);
  const std::string text = ReadFile(captions);
  EXPECT_THAT(text, HasSubstr("00:00:00.000 --> 00:00:00.600\n<v Ada>"));
  EXPECT_THAT(text, HasSubstr("00:00:01.488 --> 00:00:01.988\n<v Cem>"));
  EXPECT_THAT(text, Not(HasSubstr("Ben")));
  const std::string chapters = RunShell("ffprobe -v error -show_chapters " + Quoted(mp4_)).output;
  EXPECT_THAT(chapters, AllOf(HasSubstr("title=Ada"), HasSubstr("title=Cem")));
}

TEST_F(PartsCommandTest, TellsNothingOfPartsWithoutThem) {
  const Json::Value done = Done("--video copy");
  EXPECT_FALSE(done.isMember("parts"));
  EXPECT_NEAR(Duration(mp4_, "a"), 8, 0.1);
}

TEST_F(PartsCommandTest, AreMadeAgainOnlyWhenTheyChange) {
  const std::string common = "--video copy --if-needed --cut 1-2";
  const std::string command =
      "transcode " + common + " " + Quoted(record_.path()) + " " + Quoted(mp4_);
  ASSERT_EQ(RunKxrtc(command).exit_status, 0);
  EXPECT_THAT(RunKxrtc(command).output, HasSubstr("is up to date"));
  EXPECT_THAT(RunKxrtc(command + " --from 0.5").output, Not(HasSubstr("is up to date")));
  EXPECT_THAT(RunKxrtc(command).output, Not(HasSubstr("is up to date")));
}

TEST_F(PartsCommandTest, AreEstimated) {
  const auto estimate = [this](const std::string& options) {
    const ShellResult run = RunKxrtc("estimate --json " + options + " " + Quoted(record_.path()));
    Json::Value document;
    EXPECT_TRUE(Json::Reader().parse(run.output, document)) << run.errors;
    return document["estimated_bytes"].asDouble();
  };
  const double whole = estimate("");
  EXPECT_NEAR(estimate("--from 1 --to 3 --cut 1.5-2"), whole * 1.5 / 8.0, whole / 200);
  EXPECT_EQ(estimate("--to 1000"), whole);
  EXPECT_EQ(estimate("--from 1000"), 0);
}

TEST_F(PartsCommandTest, AreRefusedWhereNothingIsLeft) {
  for (const char* video : {"copy", "encode"}) {
    const ShellResult run = Transcode("--from 20 --video " + std::string(video));
    EXPECT_EQ(run.exit_status, 8);
    EXPECT_THAT(run.errors,
                HasSubstr("the part that was asked for contains nothing of the record"));
  }
  struct {
    const char* options;
    const char* text;
  } const kRefused[] = {
      {"--from 5 --to 5", "--to: must be later than --from"},
      {"--from 5 --to 4", "--to: must be later than --from"},
      {"--from 2 --to 5 --cut 1-3 --cut 3-6", "--cut: removes everything; cut less"},
      {"--cut 3-3", "3-3 does not end after its start"},
      {"--cut 4-3", "4-3 does not end after its start"},
      {"--cut 4", "4 is not two times with a dash between them"},
      {"--cut 4-x", "x is not a time"},
      {"--cut -- -1-3", "--cut"},
      {"--from -1", "--from"},
      {"--to never", "never is not a time"},
  };
  for (const auto& refused : kRefused) {
    const ShellResult run = Transcode(refused.options);
    EXPECT_EQ(run.exit_status, 2) << refused.options;
    EXPECT_THAT(run.errors, HasSubstr(refused.text)) << refused.options;
  }
  EXPECT_FALSE(std::filesystem::exists(mp4_));
}

}  // namespace
