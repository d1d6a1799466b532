#include "record/show/report_people.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include "record/show/record_documents.h"
#include "record/speakers/timeline_entry.h"

namespace kxrtc_host {
namespace {

// Ada and Ben, who have heard each other.
SpeakerTurns Talk() {
  SpeakerTurns turns;
  SpeakerTimeline& timeline = turns.timeline;
  timeline.exists = true;
  timeline.title = "Weekly\u202E";
  timeline.sessions = {{0, 1790000000000000}};
  timeline.people = {{7, "Ada", 3000, 9000, 1}, {9, "Ben\n", 1000, 0, 2}};
  turns.heard = {{1000, 4000, 7, 0}, {2000, 3000, 9, 0}};
  turns.seen = {{0, 1000, 0, 0}, {1000, 2000, 7, 2}, {2000, 3000, 7, 0}, {3000, 9000, 9, 3}};
  return turns;
}

std::string TextOf(const Json::Value& value) { return JsonText(value); }

TEST(ReportPeopleTest, HasNamesSharesAndTurns) {
  const Json::Value value = PeopleValue(Talk(), 0);
  EXPECT_EQ(value["title"].asString(), "Weekly");
  EXPECT_EQ(TextOf(value["people"]),
            R"([{"heard_percent":75.0,"heard_us":3000,"name":"Ada","seen_us":9000,"turns":1},)"
            R"({"heard_percent":25.0,"heard_us":1000,"name":"Ben","seen_us":0,"turns":2}])");
  EXPECT_EQ(TextOf(value["heard"]), "[[1000,4000,0,0],[2000,3000,1,0]]");
  EXPECT_EQ(TextOf(value["seen"]), "[[1000,2000,0,2],[3000,9000,1,3]]") << "with video only";
  EXPECT_EQ(value["heard_count"].asInt(), 2);
  EXPECT_EQ(value["started"].asString(), UtcText(1790000000000000));
}

TEST(ReportPeopleTest, TimesCountFromTheStartOfTheMp4) {
  const Json::Value value = PeopleValue(Talk(), 1500);
  EXPECT_EQ(TextOf(value["heard"]), "[[0,2500,0,0],[500,1500,1,0]]");
}

TEST(ReportPeopleTest, ListsSoManyTurnsAndCountsAll) {
  SpeakerTurns turns = Talk();
  turns.heard.assign(kMaxReportTurns, {1000, 4000, 7, 0});
  EXPECT_EQ(PeopleValue(turns, 0)["heard"].size(), kMaxReportTurns);
  turns.heard.push_back({4000, 5000, 9, 0});
  turns.heard.push_back({4000, 5000, 1234, 0});  // Nobody of the list.
  const Json::Value value = PeopleValue(turns, 0);
  EXPECT_EQ(value["heard"].size(), kMaxReportTurns);
  EXPECT_EQ(value["heard_count"].asUInt64(), kMaxReportTurns + 1);
}

TEST(ReportPeopleTest, WithoutATimelineThereIsNothing) {
  EXPECT_TRUE(PeopleValue(SpeakerTurns(), 0).isNull());
}

TEST(ReportPeopleTest, AnUnreadableTimelineHasItsProblemOnly) {
  SpeakerTurns turns;
  turns.timeline.exists = true;
  turns.timeline.problem = "talks/a: unreadable";
  EXPECT_EQ(TextOf(PeopleValue(turns, 0)), R"({"problem":"talks/a: unreadable"})");
}

}  // namespace
}  // namespace kxrtc_host
