// kxrtc transcode of a record with a speaker timeline beside it: tags, chapters and captions.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>

#include "tests/testing/conference_record.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/timeline_lines.h"

namespace {

using kx_testing::Quoted;
using kx_testing::ReadFile;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using kx_testing::TimelineLines;
using kx_testing::WriteFile;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int64_t kStartUs = 30000000;  // Of the first session of a ConferenceRecord.

class SpeakerOutputsTest : public ::testing::Test {
 protected:
  // A conference of four seconds.
  SpeakerOutputsTest() {
    kx_testing::ConferenceRecord record(record_, kx_testing::MakeAudio(200, 2, true));
    record.Start();
    record.Speaks(kx_testing::kCamera, {"anna", 320, 180, "high", 96, 24, 1, false, "blue"});
    record.Stop();
    record.builder().Write();
  }

  void WriteTimeline(const std::string& rest = "") {
    TimelineLines()
        .Start(kStartUs)
        .Join(kStartUs, 1, "Ada")
        .Join(kStartUs, 2, "Ben")
        .Select(kStartUs + 1, 1, 11)
        .Voice(kStartUs + 100000, 1, true)
        .Voice(kStartUs + 1100000, 1, false)
        .Select(kStartUs + 1500000, 2, 12, 3)
        .Raw(rest)
        .Write(record_);
  }
  std::string Timeline() const { return record_.File(kxrtc_host::kSpeakerTimelineFileName); }

  ShellResult Transcode(const std::string& options) {
    return RunKxrtc("transcode --video copy --force " + Quoted(record_.path()) + " " +
                    Quoted(mp4_) + " " + options);
  }
  Json::Value Done(const std::string& options) {
    const ShellResult result = Transcode("--json " + options);
    EXPECT_EQ(result.exit_status, 0) << result.output << result.errors;
    Json::Value done;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(Json::Reader().parse(line, done));
    return done;
  }
  bool Contains(const std::string& bytes) const {
    return ReadFile(mp4_).find(bytes) != std::string::npos;
  }

  TempDir record_;
  TempDir out_;
  std::string mp4_ = out_.File("out.mp4");
  std::string captions_ = out_.File("out.vtt");
};

TEST_F(SpeakerOutputsTest, TellsWhatWasWritten) {
  WriteTimeline();
  const Json::Value done = Done("--chapter-min 1 --captions " + Quoted(captions_));
  EXPECT_EQ(done["chapters"].asInt(), 2);
  EXPECT_EQ(done["title"].asString(), "Weekly");
  EXPECT_EQ(done["creation_time"].asString(), "1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(done["captions"]["output"].asString(), captions_);
  EXPECT_EQ(done["captions"]["cues"].asInt(), 1);
  EXPECT_EQ(kx_testing::ReadMp4(mp4_).Track("text").durations.size(), 2u);
  EXPECT_THAT(ReadFile(captions_), AllOf(StartsWith("WEBVTT\n"), EndsWith("<v Ada>Ada</v>\n")));
  const ShellResult told = Transcode("--chapter-min 1 --captions " + Quoted(captions_));
  EXPECT_THAT(told.output, AllOf(HasSubstr(", 2 chapters, in "), EndsWith("out.vtt: 1 caption\n")));
  EXPECT_THAT(told.errors, Not(HasSubstr("warning")));
}

TEST_F(SpeakerOutputsTest, LeavesOutWhatIsNotWanted) {
  WriteTimeline();
  Json::Value done = Done("--no-chapters");
  EXPECT_EQ(done["chapters"].asInt(), 0);
  EXPECT_TRUE(done.isMember("title"));
  EXPECT_FALSE(Contains("chpl"));
  EXPECT_TRUE(Contains("Weekly"));
  done = Done("--no-metadata");
  EXPECT_EQ(done["chapters"].asInt(), 1);  // The share is seen for less than 3 s.
  EXPECT_FALSE(done.isMember("title"));
  EXPECT_FALSE(done.isMember("creation_time"));
  EXPECT_TRUE(Contains("chpl"));
  EXPECT_FALSE(Contains("Weekly"));
  EXPECT_FALSE(done.isMember("captions"));
  EXPECT_EQ(Done("--chapter-min 24:00:00")["chapters"].asInt(), 1);
}

TEST_F(SpeakerOutputsTest, NoTimeIsToldThatTheMp4CannotHold) {
  WriteFile(Timeline(),
            "{\"speaker_timeline\":1,\"title\":\"Weekly\"}\n"
            "{\"event\":\"start\",\"us\":30000000,\"utc\":\"2040-02-06T06:28:16.000000Z\"}\n");
  const Json::Value done = Done("");
  EXPECT_FALSE(done.isMember("creation_time"));
  EXPECT_EQ(done["title"].asString(), "Weekly");
}

TEST_F(SpeakerOutputsTest, ARecordWithoutATimelineIsAsBefore) {
  const Json::Value done = Done("");
  EXPECT_EQ(done["chapters"].asInt(), 0);
  EXPECT_FALSE(done.isMember("title"));
  EXPECT_EQ(kx_testing::ReadMp4(mp4_).tracks.size(), 2u);
  const ShellResult result = Transcode("--captions " + Quoted(captions_));
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.errors, HasSubstr("warning: the record has no speaker timeline, so " +
                                       captions_ + " contains no captions\n"));
  EXPECT_EQ(ReadFile(captions_), "WEBVTT\n");
}

TEST_F(SpeakerOutputsTest, ADamagedTimelineNeverCostsTheMp4) {
  WriteTimeline("no line\n");
  ShellResult result = Transcode("");
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.errors,
              HasSubstr("warning: 1 line of the speaker timeline is damaged; chapters and captions "
                        "may lack something\n"));
  WriteTimeline("no line\nno line\n{\"event\":");
  EXPECT_THAT(Transcode("").errors, HasSubstr("2 lines of the speaker timeline are damaged;"));
  WriteFile(Timeline(), "{\"speaker_timeline\":9}\n");
  result = Transcode("");
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.errors, HasSubstr("use a later one; the MP4 is made without it\n"));
  std::filesystem::remove(Timeline());
  std::filesystem::create_directory(Timeline());
  result = Transcode("");
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.errors, HasSubstr("the MP4 is made without it"));
  EXPECT_THAT(Transcode("--no-chapters --no-metadata").errors, Not(HasSubstr("warning")));
}

TEST_F(SpeakerOutputsTest, RefusesCaptionsThatWouldReplaceSomething) {
  WriteTimeline();
  const struct {
    std::string captions;
    std::string message;
  } kCases[] = {
      {Timeline(), " is a file of the record"},
      {mp4_, " is also given as OUT.mp4"},
      {out_.File("no/out.vtt"), "cannot create a file in "},
  };
  for (const auto& test : kCases) {
    const ShellResult result = Transcode("--captions " + Quoted(test.captions));
    EXPECT_EQ(result.exit_status, 5) << test.captions;
    EXPECT_THAT(result.errors, HasSubstr(test.message));
  }
  WriteFile(captions_, "mine");
  const ShellResult kept = RunKxrtc("transcode " + Quoted(record_.path()) + " " + Quoted(mp4_) +
                                    " --captions " + Quoted(captions_));
  EXPECT_EQ(kept.exit_status, 5);
  EXPECT_THAT(kept.errors, HasSubstr("; --force replaces it\n"));
  EXPECT_EQ(ReadFile(captions_), "mine");
  EXPECT_FALSE(std::filesystem::exists(mp4_));
}

TEST_F(SpeakerOutputsTest, WarnsOfCaptionsThatMayStillBeLost) {
  WriteTimeline();
  ShellResult result;
  if (!kx_testing::RunWithFailingCall({SYS_openat, EIO, 2, O_DIRECTORY}, [&] {
        result = Transcode("--captions " + Quoted(captions_));
      })) {
    GTEST_SKIP() << "this system lets no call fail";
  }
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  const std::string warning = " is complete, but a power failure may still remove it";
  EXPECT_THAT(result.errors, AllOf(HasSubstr(mp4_ + warning), HasSubstr(captions_ + warning)));
  EXPECT_THAT(Transcode("--captions " + Quoted(captions_)).errors, Not(HasSubstr(warning)));
}

TEST_F(SpeakerOutputsTest, WithoutAnMp4ThereAreNoCaptions) {
  WriteTimeline();
  std::filesystem::resize_file(record_.File("SpeakeRecord.index"), 0);
  EXPECT_NE(Transcode("--captions " + Quoted(captions_)).exit_status, 0);
  EXPECT_TRUE(std::filesystem::is_empty(out_.path()));
}

}  // namespace
