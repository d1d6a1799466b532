// Real media through the command-line tool, judged by programs that nobody here wrote.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// Presentation times of one stream ("v" or "a") in seconds, as ffprobe tells them.
std::vector<double> Times(const std::string& path, const std::string& stream) {
  const ShellResult probe = RunShell("ffprobe -v error -select_streams " + stream +
                                     " -show_entries packet=pts_time -of csv=p=0 " + Quoted(path));
  EXPECT_EQ(probe.errors, "");
  std::vector<double> times;
  std::istringstream lines(probe.output);
  for (std::string line; std::getline(lines, line);) times.push_back(std::stod(line));
  return times;
}

int DecodedFrames(const std::string& path) {
  const ShellResult probe = RunShell(
      "ffprobe -v error -select_streams v -count_frames -show_entries stream=nb_read_frames "
      "-of csv=p=0 " +
      Quoted(path));
  EXPECT_EQ(probe.errors, "");
  return std::atoi(probe.output.c_str());
}

void ExpectDecodesWithoutAMessage(const std::string& path) {
  const ShellResult decode =
      RunShell("ffmpeg -nostdin -v warning -i " + Quoted(path) + " -f null -");
  EXPECT_EQ(decode.exit_status, 0);
  EXPECT_EQ(decode.errors, "");
}

// "640x360 1280x720 ...": the sizes of the decoded pictures, each once per change.
std::string SizesInOrder(const std::string& path) {
  const ShellResult probe = RunShell(
      "ffprobe -v error -select_streams v -show_entries frame=width,height -of csv=p=0:s=x " +
      Quoted(path) + " | sed 's/x*$//' | grep . | uniq | tr '\\n' ' '");
  return probe.output;
}

class TranscodeCommandTest : public ::testing::Test {
 protected:
  void WriteConference(bool with_adts) {
    kx_testing::WriteLongConference(record_, with_adts);
    for (const char* extension : {"index", "264", "aac", "desc"}) {
      before_ += kx_testing::ReadFile(record_.File(std::string("SpeakeRecord.") + extension));
    }
  }
  void ExpectRecordIsUntouched() {
    std::string after;
    for (const char* extension : {"index", "264", "aac", "desc"}) {
      after += kx_testing::ReadFile(record_.File(std::string("SpeakeRecord.") + extension));
    }
    EXPECT_TRUE(after == before_);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(record_.path()), {}), 4);
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
  std::string before_;
};

TEST_F(TranscodeCommandTest, CopiesAConferenceThatForeignProgramsPlay) {
  WriteConference(true);
  const ShellResult run = RunKxrtc("transcode " + record_.path() + " " + mp4_ + " --video copy");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_THAT(run.output, StartsWith(mp4_ + ": 0:00:26.005, "));
  EXPECT_THAT(run.errors, HasSubstr("kxrtc: warning: the pictures should be rotated clockwise"));
  ExpectRecordIsUntouched();
  ExpectDecodesWithoutAMessage(mp4_);
  const std::vector<double> audio = Times(mp4_, "a");
  ASSERT_EQ(audio.size(), static_cast<size_t>(kx_testing::kLongConferenceAudioFrames));
  for (size_t i = 0; i < audio.size(); ++i) {
    ASSERT_NEAR(audio[i], static_cast<double>(i + 1) * 1024 / 48000, 1e-6);
  }
  const std::vector<double> video = Times(mp4_, "v");
  EXPECT_TRUE(std::is_sorted(video.begin(), video.end()));
  EXPECT_EQ(DecodedFrames(mp4_), static_cast<int>(video.size()));
  EXPECT_EQ(SizesInOrder(mp4_), "640x360 1280x720 640x360 320x240 640x360 360x640 640x360 ");
  const kx_testing::Mp4File file = kx_testing::ReadMp4(mp4_);
  EXPECT_EQ(file.boxes[1], "moov");
  EXPECT_NEAR(static_cast<double>(file.Track("vide").EndUs()),
              static_cast<double>(file.Track("soun").EndUs()), 2);
}

TEST_F(TranscodeCommandTest, ACopyWithBPicturesAndIconsDecodesWithoutAMessage) {
  kx_testing::ConferenceRecord conference(record_, kx_testing::MakeAudio(400, 2, true));
  conference.Start()
      .AudioOnly(1000)
      .Speaks(kx_testing::kCamera, {"b one", 320, 240, "main", 24, 12, 1, false, "red", 2})
      .AudioOnly(300)  // Shorter than an icon is shown.
      .Speaks(kx_testing::kCamera, {"b two", 320, 180, "high", 25, 24, 1, false, "blue", 3})
      .AudioOnly(1500)
      .Speaks(kx_testing::kCamera, {"b one", 320, 240, "main", 24, 12, 1, false, "red", 2})
      .Stop();
  conference.builder().Write();
  const ShellResult run =
      RunKxrtc("transcode " + record_.path() + " " + mp4_ + " --quiet --video copy");
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.errors, "");
  ExpectDecodesWithoutAMessage(mp4_);
  EXPECT_EQ(SizesInOrder(mp4_), "640x360 320x240 320x180 640x360 320x240 ");
  EXPECT_EQ(DecodedFrames(mp4_), 24 + 25 + 24 + 4);
}

TEST_F(TranscodeCommandTest, EncodesAConferenceIntoOnePictureSize) {
  WriteConference(false);
  const std::string folder = record_.path().substr(0, record_.path().size() - 1);
  const ShellResult run =
      RunKxrtc("transcode " + folder + " " + mp4_ + " --preset ultrafast --no-hardware");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("video encoded by libx264"));
  EXPECT_THAT(run.errors, Not(HasSubstr("warning")));
  ExpectRecordIsUntouched();
  ExpectDecodesWithoutAMessage(mp4_);
  EXPECT_EQ(SizesInOrder(mp4_), "1280x720 ");
  const std::vector<double> audio = Times(mp4_, "a");
  EXPECT_EQ(audio.size(), static_cast<size_t>(kx_testing::kLongConferenceAudioFrames));
  std::vector<double> video = Times(mp4_, "v");
  std::sort(video.begin(), video.end());
  const double audio_end = audio.back() + 1024.0 / 48000;
  ASSERT_EQ(video.size(), static_cast<size_t>(std::ceil(audio_end * 24)));
  for (size_t i = 0; i < video.size(); ++i) {
    ASSERT_NEAR(video[i], static_cast<double>(i) / 24, 1e-4);
  }
}

// The mean luma of a region, at a time, 0 to 255.
int LumaAt(const std::string& path, double second, const std::string& crop) {
  const ShellResult run =
      RunShell("ffmpeg -nostdin -v error -ss " + std::to_string(second) + " -i " + Quoted(path) +
               " -frames:v 1 -vf crop=" + crop + ",scale=1:1,format=gray -f rawvideo -");
  return run.output.empty() ? -1 : static_cast<uint8_t>(run.output[0]);
}

TEST_F(TranscodeCommandTest, EncodingTurnsPicturesUprightBesideBlackBars) {
  kx_testing::ConferenceRecord conference(record_, kx_testing::MakeAudio(120, 2, true));
  // The left upper quarter is white. Turned by 90 degrees it is at the right upper.
  conference.Start()
      .Speaks(kx_testing::kCamera, {"white", 240, 320, "main", 48, 48, 1, false, "white"}, 90)
      .Stop();
  conference.builder().Write();
  ASSERT_EQ(RunKxrtc("transcode " + record_.path() + " " + mp4_ + " --quiet").exit_status, 0);
  // 320x240 upright becomes 480x360 in the middle of 640x360.
  EXPECT_LE(LumaAt(mp4_, 1, "60:340:10:10"), 20);
  EXPECT_LE(LumaAt(mp4_, 1, "60:340:570:10"), 20);
  EXPECT_GE(LumaAt(mp4_, 1, "200:140:340:20"), 225);
}

TEST_F(TranscodeCommandTest, ACopiedTrackOfOneRotationTellsItToPlayers) {
  kx_testing::ConferenceRecord conference(record_, kx_testing::MakeAudio(60, 2, true));
  conference.Start()
      .Speaks(kx_testing::kCamera, {"white", 240, 320, "main", 24, 48, 1, false, "white"}, 90)
      .Stop();
  conference.builder().Write();
  // The first audio frame brings the filler unless a picture came before it.
  const ShellResult run =
      RunKxrtc("transcode " + record_.path() + " " + mp4_ + " --quiet --video copy");
  ASSERT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_GE(LumaAt(mp4_, 0.5, "100:80:200:20"), 225);
}

TEST_F(TranscodeCommandTest, ReportsInLinesOfJson) {
  WriteConference(true);
  const ShellResult run =
      RunKxrtc("transcode " + record_.path() + " " + mp4_ + " --video copy --json");
  EXPECT_EQ(run.errors, "");
  std::istringstream lines(run.output);
  std::vector<std::string> events;
  Json::Value value;
  for (std::string line; std::getline(lines, line);) {
    ASSERT_TRUE(Json::Reader().parse(line, value)) << line;
    events.push_back(value["event"].asString());
  }
  EXPECT_EQ(events.back(), "done");
  EXPECT_EQ(events.front(), "warning");
  EXPECT_EQ(value["output"].asString(), mp4_);
  EXPECT_EQ(value["audio_frames"].asInt(), kx_testing::kLongConferenceAudioFrames);
  EXPECT_EQ(value["bytes"].asUInt64(), std::filesystem::file_size(mp4_));
  EXPECT_EQ(value["exit_status"].asInt(), 0);
}

TEST_F(TranscodeCommandTest, SaysWhetherTheSoundWasExamined) {
  kx_testing::RecordBuilder builder(record_);
  builder.Start(0).Channel(1, 0);
  std::vector<std::string> audio = kx_testing::MakeAudio(60, 2, true);
  std::fill(audio[40].begin() + 7, audio[40].end(), '\xFF');
  for (size_t i = 0; i < audio.size(); ++i) {
    builder.Audio(21333 * static_cast<int64_t>(i + 1), audio[i]);
  }
  builder.Stop(2000000).Write();
  const std::string command = "transcode --force " + record_.path() + " " + mp4_;
  const ShellResult copied = RunKxrtc(command + " --video copy");
  EXPECT_EQ(copied.exit_status, 0);
  EXPECT_THAT(copied.output, HasSubstr(", video copied, sound not examined, in "));
  EXPECT_THAT(RunKxrtc(command + " --video copy --json").output,
              HasSubstr("\"sound_examined\":false"));
  for (const char* options : {" --video copy --check-sound", " --no-hardware"}) {
    const ShellResult checked = RunKxrtc(command + options);
    EXPECT_EQ(checked.exit_status, 0);
    EXPECT_THAT(checked.output, Not(HasSubstr("sound")));
    EXPECT_THAT(checked.errors,
                HasSubstr("kxrtc: warning: 1 of 60 audio frames cannot be decoded, the first at "
                          "0:00:00.874; the MP4 is silent there\n"));
    EXPECT_THAT(
        RunKxrtc(command + options + " --json").output,
        AllOf(HasSubstr("\"sound_examined\":true"), HasSubstr("\"audio_frames_silenced\":1,")));
  }
}

TEST_F(TranscodeCommandTest, QuietSaysNothingWithoutAReason) {
  kx_testing::RecordBuilder(record_)
      .Start(0)
      .Channel(1, 0)
      .Audio(21333, kx_testing::MakeAudio(1, 2, true)[0])
      .Stop(30000)
      .Write();
  const ShellResult run = RunKxrtc("transcode --quiet " + record_.path() + " " + mp4_);
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.output + run.errors, "");
}

TEST_F(TranscodeCommandTest, WritesTheLibrarysLogOnDemand) {
  kx_testing::RecordBuilder(record_)
      .Start(0)
      .Channel(1, 0)
      .Audio(21333, kx_testing::MakeAudio(1, 2, true)[0])
      .Stop(30000)
      .Write();
  const std::string log = out_.File("log");
  ASSERT_EQ(RunKxrtc("transcode --log-file " + log + " " + record_.path() + " " + mp4_).exit_status,
            0);
  EXPECT_THAT(kx_testing::ReadFile(log), HasSubstr("[StartTranscoding]"));
  ASSERT_EQ(RunKxrtc("transcode --log-file " + log + " --log-level error --force " +
                     record_.path() + " " + mp4_)
                .exit_status,
            0);
  EXPECT_EQ(kx_testing::ReadFile(log), "");
}

TEST(EstimateCommandTest, TellsTheSizeFromTheDescriptorAlone) {
  TempDir record;
  kx_testing::WriteFile(
      record.File("SpeakeRecord.desc"),
      "{\"speaker_record_overall\":{\"record_session_count\":1,\"contain_video\":1,"
      "\"contain_desktop\":1,\"audio_channel_count\":2},\"speaker_record_session\":["
      "{\"sessoin_start_timestamp_us\":0,\"sessoin_end_timestamp_us\":1,"
      "\"session_video_frame_count\":0,\"session_audio_frame_count\":1000,"
      "\"session_video_switch_count\":0}]}");
  const ShellResult text = RunKxrtc("estimate " + record.path());
  EXPECT_EQ(text.exit_status, 0);
  EXPECT_EQ(text.output, "3199950 bytes (3.2 MB), audio not counted\n");
  EXPECT_EQ(RunKxrtc("estimate --json " + record.path()).output,
            R"({"document":"kxrtc.estimate","estimated_bytes":3199950,"version":1})"
            "\n");
  const ShellResult missing = RunKxrtc("estimate /nowhere");
  EXPECT_EQ(missing.exit_status, 3);
  EXPECT_EQ(missing.errors, "kxrtc: /nowhere contains no readable record descriptor\n");
}

TEST(KxrtcTest, HelpsWithExamplesAndTellsItsVersion) {
  EXPECT_THAT(RunKxrtc("--version").output, StartsWith("kxrtc "));
  EXPECT_THAT(RunKxrtc("--help").output, HasSubstr("Examples:"));
  for (const char* command : {"transcode", "estimate", "info", "record"}) {
    const std::string help = RunKxrtc(std::string(command) + " --help").output;
    EXPECT_THAT(help, HasSubstr("xample")) << command;
    EXPECT_THAT(help, HasSubstr("--log-file PATH")) << command;
  }
}

}  // namespace
