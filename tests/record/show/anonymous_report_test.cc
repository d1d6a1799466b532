#include "record/show/anonymous_report.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include "record/show/record_documents.h"
#include "record/show/report_people.h"

namespace kxrtc_host {
namespace {

using testing::HasSubstr;
using testing::Not;

SpeakerTurns Talk() {
  SpeakerTurns turns;
  SpeakerTimeline& timeline = turns.timeline;
  timeline.exists = true;
  timeline.title = "Weekly";
  timeline.sessions = {{0, 1790000000000000}};
  timeline.people = {{7, "Ada", 3000, 9000, 1}, {9, "Ben", 1000, 0, 2}};
  turns.heard = {{1000, 4000, 7, 0}, {2000, 3000, 9, 0}};
  return turns;
}

Json::Value AnonymousReport(const SpeakerTurns& turns) {
  Json::Value document;
  document["folder"] = "talks/monday/";
  document["video_url"] = "data:video";
  document["filmstrip"].append("data:image");
  document["findings"][0]["text"] = "talks/monday/SpeakeRecord.desc: is missing";
  document["speakers"] = PeopleValue(turns, 0);
  MakeAnonymous("talks/monday/", &document);
  return document;
}

TEST(AnonymousReportTest, HasNeitherNamesNorPicturesNorPaths) {
  const Json::Value document = AnonymousReport(Talk());
  for (const char* secret : {"Ada", "Ben", "Weekly", "monday", "data:", "2026"}) {
    EXPECT_THAT(JsonText(document), Not(HasSubstr(secret)));
  }
  EXPECT_EQ(document["findings"][0]["text"].asString(), "SpeakeRecord.desc: is missing");
  EXPECT_TRUE(document["anonymous"].asBool());
}

TEST(AnonymousReportTest, KeepsWhoIsWho) {
  const Json::Value speakers = AnonymousReport(Talk())["speakers"];
  EXPECT_EQ(speakers["people"][0]["name"].asString(), "Speaker 1");
  EXPECT_EQ(speakers["people"][1]["name"].asString(), "Speaker 2");
  EXPECT_EQ(speakers["people"][0]["heard_us"].asInt(), 3000);
  EXPECT_EQ(JsonText(speakers["heard"]), "[[1000,4000,0,0],[2000,3000,1,0]]");
}

TEST(AnonymousReportTest, WithoutATimelineStaysWithout) {
  EXPECT_TRUE(AnonymousReport(SpeakerTurns())["speakers"].isNull());
}

TEST(AnonymousReportTest, AProblemNamesNoPath) {
  SpeakerTurns turns;
  turns.timeline.exists = true;
  turns.timeline.problem = "/home of/ada: unreadable";
  EXPECT_EQ(AnonymousReport(turns)["speakers"]["problem"].asString(),
            "SpeakerTimeline.ndjson cannot be read");
}

TEST(AnonymousReportTest, ARecordInTheWorkingFolderKeepsItsTexts) {
  Json::Value document;
  document["findings"][0]["text"] = "SpeakeRecord.desc: is missing";
  MakeAnonymous("", &document);
  EXPECT_EQ(document["findings"][0]["text"].asString(), "SpeakeRecord.desc: is missing");
}

}  // namespace
}  // namespace kxrtc_host
