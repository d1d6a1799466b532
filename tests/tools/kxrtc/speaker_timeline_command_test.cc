// kxrtc info, dump and verify of a record with a speaker timeline beside it.
#include <gmock/gmock.h>
#include <json/json.h>

#include <memory>
#include <string>

#include "record/speakers/timeline_entry.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/shell.h"

namespace {

using kx_testing::Quoted;
using kx_testing::TempDir;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

constexpr char kTimeline[] =
    R"({"speaker_timeline":1,"title":"Week\u001bly"}
{"event":"start","us":0,"utc":"2026-11-22T09:30:00.250000Z"}
{"event":"joined","name":"Ada","us":0,"user_id":1}
{"event":"joined","name":"Ben","us":0,"user_id":2}
{"event":"voice","on":true,"us":10000,"user_id":1}
{"event":"voice","on":false,"us":40000,"user_id":1}
{"event":"voice","on":true,"us":45000,"user_id":2}
{"event":"voice","on":false,"us":55000,"user_id":2}
)";

class SpeakerTimelineCommandTest : public testing::Test {
 protected:
  SpeakerTimelineCommandTest() { kx_testing::TwoSessions(dir_).Write(); }

  kx_testing::ShellResult Run(const std::string& command) {
    return kx_testing::RunShell(Quoted(KXRTC_PROGRAM) + " " + command + " " + Quoted(dir_.path()));
  }

  std::string Info(const std::string& options = "") {
    const kx_testing::ShellResult result = Run("info " + options);
    EXPECT_EQ(result.exit_status, 0) << result.errors;
    return result.output;
  }

  Json::Value Document() {
    const std::string text = Info("--json ");
    Json::Value document;
    std::string problem;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &document, &problem));
    return document;
  }

  void WriteTimeline(const std::string& text) {
    kx_testing::WriteFile(dir_.File(kxrtc_host::kSpeakerTimelineFileName), text);
  }

  TempDir dir_;
};

TEST_F(SpeakerTimelineCommandTest, InfoShowsThePeople) {
  WriteTimeline(kTimeline);
  const std::string output = Info();
  EXPECT_THAT(output, AllOf(HasSubstr("title      Week\\x1Bly\n"),
                            HasSubstr("started    2026-11-22T09:30:00.250000Z\n"),
                            ContainsRegex("0[.]030000 s +75% +1 +0[.]000000 s +Ada\n"),
                            ContainsRegex("0[.]010000 s +25% +1 +0[.]000000 s +Ben\n")));
  const Json::Value timeline = Document()["speaker_timeline"];
  EXPECT_EQ(timeline["sessions"][0]["utc"].asString(), "2026-11-22T09:30:00.250000Z");
  EXPECT_EQ(timeline["people"].size(), 2u);
  EXPECT_EQ(timeline["people"][0]["name"].asString(), "Ada");
  EXPECT_EQ(timeline["people"][0]["heard_us"].asInt64(), 30000);
  EXPECT_EQ(timeline["people"][1]["turns"].asInt(), 1);
  EXPECT_EQ(timeline["damaged_lines"].asInt(), 0);
}

TEST_F(SpeakerTimelineCommandTest, InfoSaysWhatIsWrongWithIt) {
  WriteTimeline(std::string(kTimeline) + "x\n");
  EXPECT_THAT(Info(), HasSubstr("damaged    1 line of the speaker timeline, passed over\n"));
  WriteTimeline("x");
  EXPECT_THAT(Info(), AllOf(HasSubstr("people     unknown: "),
                            HasSubstr("SpeakerTimeline.ndjson: is not a speaker timeline\n")));
  EXPECT_THAT(Document()["speaker_timeline"]["problem"].asString(),
              HasSubstr("is not a speaker timeline"));
}

TEST_F(SpeakerTimelineCommandTest, DumpShowsNamesAsText) {
  WriteTimeline(kTimeline);
  const kx_testing::ShellResult result = Run("dump");
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_THAT(result.output,
              AllOf(HasSubstr("version=1 title=Week\\x1Bly\n"), HasSubstr("  user=2 name=Ben\n")));
}

// What is wrong with the names is told, and the MP4 is complete nevertheless.
TEST_F(SpeakerTimelineCommandTest, VerifyComparesItWithTheIndex) {
  kx_testing::RecordBuilder record(dir_);
  kx_testing::AddHealthySession(record, 0).Write();
  const std::string selected =
      R"({"event":"selected","media_type":2,"ssrc":1,"us":1000,"user_id":1})"
      "\n";
  WriteTimeline(kTimeline + selected);
  const kx_testing::ShellResult healthy = Run("verify --quick");
  EXPECT_EQ(healthy.exit_status, 0);
  EXPECT_THAT(healthy.output, Not(HasSubstr("timeline.")));
  WriteTimeline(kTimeline + selected + selected);
  const kx_testing::ShellResult doubled = Run("verify --quick");
  EXPECT_EQ(doubled.exit_status, 12);
  EXPECT_THAT(doubled.output, AllOf(ContainsRegex("warning +timeline[.]no-record +0[.]001000 s"),
                                    HasSubstr("MP4: complete")));
  WriteTimeline("x");
  EXPECT_THAT(Run("verify --quick").output,
              AllOf(HasSubstr("timeline.unreadable"), HasSubstr("MP4: complete")));
}

TEST_F(SpeakerTimelineCommandTest, InfoIsSilentWithoutOne) {
  EXPECT_THAT(Info(), Not(HasSubstr("PERSON")));
  EXPECT_FALSE(Document().isMember("speaker_timeline"));
}

}  // namespace
