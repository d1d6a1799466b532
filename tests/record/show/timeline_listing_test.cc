#include "record/show/timeline_listing.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "record/speakers/timeline_entry.h"
#include "tests/testing/record_builder.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using testing::ElementsAre;
using testing::EndsWith;

constexpr char kTimeline[] =
    R"({"speaker_timeline":1,"title":"Weekly"}
{"event":"start","us":0,"utc":"2026-11-22T09:30:00.250000Z"}
{"event":"joined","name":"Ada","us":0,"user_id":1}
{"event":"selected","media_type":3,"ssrc":12,"us":1500000,"user_id":1}
{"event":"voice","on":true,"us":1600000,"user_id":1}
{"event":"voice","on":false,"us":1700000,"user_id":1}
{"event":"new","us":1800000}
no event
{"event":"left","us":2000000,"user_id":1}
{"event":"stop","us":2100000}
{"event":"sto)";

class TimelineListingTest : public testing::Test {
 protected:
  // The whole dump of a record without a frame.
  std::string Dump(const DumpOptions& options) {
    kx_testing::RecordBuilder(dir_).Start(0).Stop(2100000).Write();
    std::FILE* file = std::tmpfile();
    EXPECT_TRUE(DumpRecord(dir_.path(), options, file).whole);
    std::string text(static_cast<size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    EXPECT_EQ(std::fread(&text[0], 1, text.size(), file), text.size());
    std::fclose(file);
    return text;
  }

  // What follows the records.
  std::string Listed(const DumpOptions& options) {
    const std::string text = Dump(options);
    const std::string last_record = "          12  stop                  2.100000 s  \n";
    const size_t end = text.find(last_record);
    return end == std::string::npos ? text : text.substr(end + last_record.size());
  }

  Json::Value Document(DumpOptions options) {
    options.json = true;
    const std::string text = Dump(options);
    Json::Value document;
    std::string problem;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &document, &problem))
        << problem << text;
    EXPECT_EQ(document["records"].size(), 2u);
    return document;
  }

  void WriteTimeline(const std::string& text) {
    kx_testing::WriteFile(dir_.File(kSpeakerTimelineFileName), text);
  }

  TempDir dir_;
};

constexpr char kHead[] = "\n        LINE  EVENT                       TIME  SPEAKER TIMELINE\n";
constexpr char kLastLines[] =
    "           7  unknown               1.800000 s  \n"
    "           8  damaged                        -  \n"
    "           9  left                  2.000000 s  user=1\n"
    "          10  stop                  2.100000 s  \n";

TEST_F(TimelineListingTest, ListsEveryWholeLineBehindTheRecords) {
  WriteTimeline(kTimeline);
  EXPECT_EQ(
      Listed({}),
      std::string(kHead) +
          "           1  -                              -  version=1 title=Weekly\n"
          "           2  start                 0.000000 s  utc=2026-11-22T09:30:00.250000Z\n"
          "           3  joined                0.000000 s  user=1 name=Ada\n"
          "           4  selected              1.500000 s  ssrc=12 user=1 media_type=3 (desktop)\n"
          "           5  voice                 1.600000 s  user=1 on\n"
          "           6  voice                 1.700000 s  user=1 off\n" +
          kLastLines);
}

TEST_F(TimelineListingTest, ShowsOnlyTheTimesAskedFor) {
  WriteTimeline(kTimeline);
  DumpOptions options;
  options.from_us = 1800000;
  EXPECT_EQ(Listed(options), std::string(kHead) + kLastLines);
  options.from_us = 1;
  options.to_us = 1499999;
  EXPECT_THAT(Dump(options), EndsWith(kHead));
}

TEST_F(TimelineListingTest, HasAnElementForEachLine) {
  WriteTimeline(kTimeline);
  const Json::Value timeline = Document({})["speaker_timeline"];
  EXPECT_EQ(timeline["title"].asString(), "Weekly");
  EXPECT_FALSE(timeline.isMember("problem"));
  std::vector<std::string> events;
  for (const Json::Value& line : timeline["lines"]) events.push_back(line["event"].asString());
  EXPECT_THAT(events, ElementsAre("start", "joined", "selected", "voice", "voice", "unknown",
                                  "damaged", "left", "stop"));
  const Json::Value& lines = timeline["lines"];
  EXPECT_EQ(lines[0]["utc"].asString(), "2026-11-22T09:30:00.250000Z");
  EXPECT_EQ(lines[1]["name"].asString(), "Ada");
  EXPECT_EQ(lines[2]["time_us"].asInt64(), 1500000);
  EXPECT_EQ(lines[2]["media_type"].asInt(), 3);
  EXPECT_EQ(lines[2]["ssrc"].asInt(), 12);
  EXPECT_TRUE(lines[3]["on"].asBool());
  EXPECT_FALSE(lines[6].isMember("time_us"));
  EXPECT_EQ(lines[8]["line"].asInt(), 10);
}

TEST_F(TimelineListingTest, SaysWhyItCannotBeRead) {
  WriteTimeline("x\n");
  const std::string problem = dir_.File("SpeakerTimeline.ndjson") + ": is not a speaker timeline";
  EXPECT_EQ(Listed({}), "\nspeaker timeline: " + problem + "\n");
  EXPECT_EQ(Document({})["speaker_timeline"]["problem"].asString(), problem);
}

TEST_F(TimelineListingTest, IsSilentWithoutOne) {
  EXPECT_EQ(Listed({}), "");
  EXPECT_FALSE(Document({}).isMember("speaker_timeline"));
}

TEST_F(TimelineListingTest, ListsATimelineWithoutLines) {
  WriteTimeline("{\"speaker_timeline\":1}\n");
  EXPECT_TRUE(Document({})["speaker_timeline"]["lines"].isArray());
  EXPECT_EQ(Listed({}),
            std::string(kHead) + "           1  -                              -  version=1\n");
}

}  // namespace
}  // namespace kxrtc_host
