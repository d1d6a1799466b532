#include "record/speakers/timeline_entry.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;

TEST(TimelineHeaderTest, IsReadAsWritten) {
  TimelineHeader header;
  EXPECT_EQ(TimelineLine(header), "{\"speaker_timeline\":1}\n");
  header.title = "Weekly \"\xE2\x82\xAC\"\n";
  const std::string line = TimelineLine(header);
  EXPECT_EQ(line, "{\"speaker_timeline\":1,\"title\":\"Weekly \\\"\xE2\x82\xAC\\\"\\n\"}\n");
  TimelineHeader read;
  ASSERT_TRUE(ParseTimelineHeader(line.substr(0, line.size() - 1), &read));
  EXPECT_EQ(read.version, 1u);
  EXPECT_EQ(read.title, header.title);
}

TEST(TimelineHeaderTest, OfAnotherVersionIsStillAHeader) {
  TimelineHeader header;
  ASSERT_TRUE(ParseTimelineHeader("{\"speaker_timeline\":7,\"new\":[]}", &header));
  EXPECT_EQ(header.version, 7u);
}

TEST(TimelineHeaderTest, IsNothingElse) {
  const std::string long_title(kMaxTitleBytes + 1, 'x');
  for (const std::string& line :
       {std::string(), std::string("{}"), std::string("[1]"), std::string("1"),
        std::string("{\"speaker_timeline\":-1}"), std::string("{\"speaker_timeline\":\"1\"}"),
        std::string("{\"speaker_timeline\":1"), std::string("{\"speaker_timeline\":1}x"),
        std::string("{\"speaker_timeline\":1,\"title\":5}"),
        std::string("{\"speaker_timeline\":1,\"title\":\"\"}"),
        "{\"speaker_timeline\":1,\"title\":\"" + long_title + "\"}"}) {
    TimelineHeader header;
    EXPECT_FALSE(ParseTimelineHeader(line, &header)) << line;
  }
}

TimelineEntry Entry(Kind kind, int64_t time_us, uint32_t user_id = 0) {
  TimelineEntry entry;
  entry.kind = kind;
  entry.time_us = time_us;
  entry.user_id = user_id;
  return entry;
}

struct LineCase {
  const char* name;
  TimelineEntry entry;
  const char* line;
};

LineCase StartCase() {
  LineCase line{"Start", Entry(Kind::kStart, 1000000),
                R"({"event":"start","us":1000000,"utc":"2026-11-22T09:30:00.250000Z"})"};
  line.entry.utc_us = 1795339800250000;
  return line;
}

LineCase JoinedCase() {
  LineCase line{"Joined", Entry(Kind::kJoined, 5, 1001),
                R"({"event":"joined","name":"Ada","us":5,"user_id":1001})"};
  line.entry.name = "Ada";
  return line;
}

LineCase SelectedCase() {
  LineCase line{"Selected", Entry(Kind::kSelected, -3, 1001),
                R"({"event":"selected","media_type":2,"ssrc":11,"us":-3,"user_id":1001})"};
  line.entry.ssrc = 11;
  line.entry.media_type = 2;
  return line;
}

LineCase VoiceCase() {
  LineCase line{"Voice", Entry(Kind::kVoice, 9223372036854775807, 4294967295),
                R"({"event":"voice","on":true,"us":9223372036854775807,"user_id":4294967295})"};
  line.entry.on = true;
  return line;
}

class TimelineEntryTest : public testing::TestWithParam<LineCase> {};

TEST_P(TimelineEntryTest, IsReadAsWritten) {
  const TimelineEntry& entry = GetParam().entry;
  EXPECT_EQ(TimelineLine(entry), std::string(GetParam().line) + "\n");
  TimelineEntry read;
  ASSERT_EQ(ParseTimelineEntry(GetParam().line, &read), TimelineLineKind::kEntry);
  EXPECT_EQ(read.kind, entry.kind);
  EXPECT_EQ(read.time_us, entry.time_us);
  EXPECT_EQ(read.utc_us, entry.utc_us);
  EXPECT_EQ(read.user_id, entry.user_id);
  EXPECT_EQ(read.ssrc, entry.ssrc);
  EXPECT_EQ(read.media_type, entry.media_type);
  EXPECT_EQ(read.on, entry.on);
  EXPECT_EQ(read.name, entry.name);
}

INSTANTIATE_TEST_SUITE_P(Lines, TimelineEntryTest,
                         testing::Values(StartCase(), JoinedCase(), SelectedCase(), VoiceCase(),
                                         LineCase{"Stop", Entry(Kind::kStop, 7),
                                                  R"({"event":"stop","us":7})"},
                                         LineCase{"Left", Entry(Kind::kLeft, 8, 3),
                                                  R"({"event":"left","us":8,"user_id":3})"}),
                         [](const auto& test) { return test.param.name; });

TEST(TimelineLineTest, OfALaterEventIsUnknownAndKeepsItsTime) {
  TimelineEntry entry;
  EXPECT_EQ(ParseTimelineEntry(R"({"event":"hand_raised","us":12,"more":[1]})", &entry),
            TimelineLineKind::kUnknown);
  EXPECT_EQ(entry.time_us, 12);
}

TEST(TimelineLineTest, IsDamagedWithoutItsMembers) {
  const std::string long_name(kMaxPersonNameBytes + 1, 'n');
  for (const std::string& line :
       {std::string(),
        std::string("null"),
        std::string("{\"event\":\"stop\"}"),
        std::string("{\"us\":1}"),
        std::string(R"({"event":"stop","us":"1"})"),
        std::string(R"({"event":"stop","us":1.5})"),
        std::string(R"({"event":"stop","us":1} )") + "x",
        std::string(R"({"event":5,"us":1})"),
        std::string(R"({"event":"start","us":1})"),
        std::string(R"({"event":"start","us":1,"utc":"yesterday"})"),
        std::string(R"({"event":"joined","us":1,"user_id":0,"name":"a"})"),
        std::string(R"({"event":"joined","us":1,"user_id":1})"),
        std::string(R"({"event":"joined","us":1,"user_id":1,"name":""})"),
        std::string(R"({"event":"joined","us":1,"user_id":1,"name":"a\u0000b"})"),
        R"({"event":"joined","us":1,"user_id":1,"name":")" + long_name + "\"}",
        std::string(R"({"event":"joined","us":1,"user_id":1,"name":"Zo)") + "\xEB\"}",
        std::string(R"({"event":"left","us":1,"user_id":-1})"),
        std::string(R"({"event":"left","us":1,"user_id":4294967296})"),
        std::string(R"({"event":"selected","us":1,"ssrc":1,"user_id":1})"),
        std::string(R"({"event":"voice","us":1,"user_id":1,"on":1})"),
        std::string(R"({"event":"stop","us":1,"a":[[[[[[1]]]]]]})"),
        std::string(100000, '[')}) {
    TimelineEntry entry;
    EXPECT_EQ(ParseTimelineEntry(line, &entry), TimelineLineKind::kDamaged) << line;
  }
}

TEST(UtcTextTest, IsReadAsWritten) {
  for (const int64_t utc_us :
       {int64_t{0}, int64_t{-1}, int64_t{951782400000001}, int64_t{1795339800250000}}) {
    int64_t read = 1;
    ASSERT_TRUE(ParseUtc(UtcText(utc_us), &read)) << UtcText(utc_us);
    EXPECT_EQ(read, utc_us);
  }
  EXPECT_EQ(UtcText(951782400000001), "2000-02-29T00:00:00.000001Z");
}

TEST(UtcTextTest, OfNoTimeIsRefused) {
  for (const char* text : {"", "2026-11-22", "2026-11-22T09:30:00Z", "2026-02-30T00:00:00.000000Z",
                           "2026-11-22T24:00:00.000000Z", "2026-11-22 09:30:00.000000Z",
                           "2026-11-22T09:30:00.000000+01:00", "2026-11-22T09:30:00.25Z"}) {
    int64_t ignored = 0;
    EXPECT_FALSE(ParseUtc(text, &ignored)) << text;
  }
}

TEST(TimelineTextTest, IsBoundedUtf8WithoutZero) {
  EXPECT_TRUE(IsTimelineText("Ada", 3));
  EXPECT_FALSE(IsTimelineText("Ada", 2));
  EXPECT_FALSE(IsTimelineText("", 3));
  EXPECT_FALSE(IsTimelineText(std::string_view("a\0b", 3), 3));
  EXPECT_FALSE(IsTimelineText("\xEB", 3));
}

}  // namespace
}  // namespace kxrtc_host
