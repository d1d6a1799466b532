// What kxrtc prints with --json says what it is, and in which version.
#include <gmock/gmock.h>
#include <json/json.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "record/speakers/timeline_format.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::TempDir;

// A document of one or of many lines, or a value on each line.
std::vector<Json::Value> ValuesOf(const std::string& text) {
  Json::CharReaderBuilder strict;
  strict["failIfExtra"] = true;
  const std::unique_ptr<Json::CharReader> reader(strict.newCharReader());
  Json::Value value;
  if (reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return {value};
  std::vector<Json::Value> values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(reader->parse(line.data(), line.data() + line.size(), &value, nullptr)) << line;
    values.push_back(value);
  }
  return values;
}

// RECORD, DIR and FILE stand for a record, a folder for what is made, and a file.
struct LinesCase {
  const char* name;
  const char* arguments;
  const char* kinds;  // Of all documents and events that are printed, in their order, once each.
};

class JsonLinesTest : public testing::TestWithParam<LinesCase> {
 protected:
  JsonLinesTest() {
    kx_testing::TwoSessions(record_).Write();
    kx_testing::WriteFile(record_.File(kxrtc_host::kSpeakerTimelineFileName),
                          R"({"speaker_timeline":1,"title":"Weekly"}
{"event":"start","us":0,"utc":"2026-11-22T09:30:00.250000Z"}
{"event":"joined","name":"Ada","us":0,"user_id":1}
{"event":"selected","media_type":2,"ssrc":11,"us":0,"user_id":1}
{"event":"voice","on":true,"us":10000,"user_id":1}
{"event":"waves","us":20000}
no line
{"event":"left","us":30000,"user_id":1}
{"event":"stop","us":40000}
)");
  }

  std::string Arguments() const {
    std::string text = GetParam().arguments;
    const auto replace = [&text](const std::string& place, const std::string& with) {
      const size_t at = text.find(place);
      if (at != std::string::npos) text.replace(at, place.size(), Quoted(with));
    };
    replace("RECORD", record_.path());
    replace("DIR", outputs_.File("new"));
    replace("FILE", record_.File("SpeakeRecord.264"));
    return text;
  }

  const TempDir record_;
  const TempDir outputs_;
};

TEST_P(JsonLinesTest, SayWhatTheyAre) {
  std::string kinds;
  for (const Json::Value& value : ValuesOf(RunKxrtc(Arguments()).output)) {
    EXPECT_EQ(value["version"].asInt(), 1);
    const Json::Value& kind = value.isMember("document") ? value["document"] : value["event"];
    if (kinds.find(kind.asString()) != std::string::npos) continue;
    kinds += (kinds.empty() ? "" : " ") + kind.asString();
  }
  EXPECT_EQ(kinds, GetParam().kinds);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, JsonLinesTest,
    testing::Values(LinesCase{"Info", "info --json RECORD", "kxrtc.info"},
                    LinesCase{"Dump", "dump --json RECORD", "kxrtc.dump"},
                    LinesCase{"Verify", "verify --json RECORD", "kxrtc.verify"},
                    LinesCase{"Repair", "repair --json RECORD DIR", "kxrtc.repair"},
                    LinesCase{"Estimate", "estimate --json RECORD", "kxrtc.estimate"},
                    LinesCase{"List", "list --json RECORD", "kxrtc.list"},
                    LinesCase{"Version", "version --json", "kxrtc.versions"},
                    LinesCase{"H264", "h264 --json FILE", "nal_unit access_unit"},
                    LinesCase{"Usage", "info --json --no-such-option", "error"},
                    LinesCase{"Transcode", "transcode --json RECORD DIR --video copy",
                              "warning done"},
                    LinesCase{"TranscodeFails", "transcode --json /nowhere DIR", "error"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
