#include "record/show/record_dump.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include "record/show/record_documents.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::HasSubstr;

std::string Dump(const std::string& folder, const DumpOptions& options, DumpResult* result) {
  std::FILE* file = std::tmpfile();
  *result = DumpRecord(folder, options, file);
  std::string text(static_cast<size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(&text[0], 1, text.size(), file), text.size());
  std::fclose(file);
  return text;
}

Json::Value DumpJson(const std::string& folder, DumpOptions options, DumpResult* result) {
  options.json = true;
  const std::string text = Dump(folder, options, result);
  Json::Value root;
  std::string problem;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &problem)) << problem;
  return root;
}

TEST(RecordDumpTest, ListsEveryRecordWithItsPayload) {
  const TempDir dir;
  RecordBuilder(dir)
      .Start(0)
      .Channel(1, 3)
      .Attributes(2, 640, 360, 90)
      .Key(1500000)
      .Stop(4)
      .Write();
  DumpResult result;
  const std::string text = Dump(dir.path(), {}, &result);
  EXPECT_TRUE(result.readable);
  EXPECT_TRUE(result.whole);
  EXPECT_THAT(text, HasSubstr("           0  start                 0.000000 s  \n"));
  EXPECT_THAT(text, HasSubstr("media_type=3 (desktop)"));
  EXPECT_THAT(text, HasSubstr("640x360 rotation=90"));
  EXPECT_THAT(text, HasSubstr("1.500000 s  position=0 size=8"));
}

TEST(RecordDumpTest, ShowsOnlyTheTimesAskedFor) {
  const TempDir dir;
  RecordBuilder(dir).Start(0).Audio(10).Audio(20).Audio(30).Stop(40).Write();
  DumpOptions options;
  options.from_us = 10;
  options.to_us = 20;
  DumpResult result;
  const Json::Value document = DumpJson(dir.path(), options, &result);
  EXPECT_EQ(document["records"].size(), 2u);
  EXPECT_EQ(document["records"][0]["time_us"].asInt64(), 10);
  EXPECT_EQ(document["records"][1]["payload"]["size"].asUInt(), 5u);
}

struct RangeCase {
  const char* name;
  DumpOptions options;
  std::vector<std::string> types;
};

class DumpRangeTest : public testing::TestWithParam<RangeCase> {};

TEST_P(DumpRangeTest, ShowsBrokenBytesBehindTheRecordsAskedFor) {
  const TempDir dir;
  // Two records in a row, or nobody believes what stands behind garbage.
  RecordBuilder builder(dir);
  builder.RawIndex(std::string(20, 'x')).Start(10).Audio(10).RawIndex(std::string(20, 'x'));
  builder.Stop(20).RawIndex("x").Write();
  DumpResult result;
  const Json::Value document = DumpJson(dir.path(), GetParam().options, &result);
  std::vector<std::string> types;
  for (const Json::Value& record : document["records"]) types.push_back(record["type"].asString());
  EXPECT_EQ(types, GetParam().types);
  EXPECT_FALSE(result.whole);  // Of the index, whatever is shown of it.
}

std::vector<RangeCase> Ranges() {
  const DumpOptions all;
  return {
      {"All", all, {"garbage", "start", "audio", "garbage", "stop", "truncated"}},
      {"ToTheFirst", {all.from_us, 10, false}, {"garbage", "start", "audio", "garbage"}},
      {"BeforeTheFirst", {all.from_us, 9, false}, {"garbage"}},
      {"FromTheFirst",
       {10, all.to_us, false},
       {"garbage", "start", "audio", "garbage", "stop", "truncated"}},
      {"BehindTheFirst", {11, all.to_us, false}, {"stop", "truncated"}},
      {"Between", {11, 19, false}, {}},
      {"BehindTheLast", {21, all.to_us, false}, {}},
  };
}

INSTANTIATE_TEST_SUITE_P(Times, DumpRangeTest, testing::ValuesIn(Ranges()),
                         [](const auto& test) { return test.param.name; });

TEST(RecordDumpTest, ShowsWhatIsNoRecordWhereThereIsNone) {
  const TempDir dir;
  RecordBuilder(dir).RawIndex(std::string(20, 'x')).Write();
  DumpResult result;
  EXPECT_EQ(DumpJson(dir.path(), {}, &result)["records"].size(), 1u);
  DumpOptions options;
  options.from_us = 0;
  EXPECT_EQ(DumpJson(dir.path(), options, &result)["records"].size(), 0u);
}

TEST(RecordDumpTest, WritesAVersionedDocument) {
  const TempDir dir;
  RecordBuilder(dir).Write();
  DumpResult result;
  const Json::Value document = DumpJson(dir.path(), {}, &result);
  EXPECT_EQ(document["document"].asString(), "kxrtc.dump");
  EXPECT_EQ(document["version"].asInt(), kDocumentVersion);
  EXPECT_TRUE(document["records"].isArray());
  EXPECT_TRUE(document["whole"].asBool());
}

TEST(RecordDumpTest, NamesBytesThatAreNoRecord) {
  const TempDir dir;
  RecordBuilder(dir).RawIndex(std::string(20, 'x')).Start(0).Stop(1).RawIndex("tail").Write();
  DumpResult result;
  const Json::Value document = DumpJson(dir.path(), {}, &result);
  EXPECT_FALSE(result.whole);
  EXPECT_EQ(document["records"][0]["type"].asString(), "garbage");
  EXPECT_EQ(document["records"][0]["bytes"].asUInt(), 20u);
  EXPECT_EQ(document["records"][3]["type"].asString(), "truncated");
}

struct TypeCodeCase {
  const char* name;
  std::string bytes;
  uint32_t type_code;  // 0: not named.
};

class DumpTypeCodeTest : public testing::TestWithParam<TypeCodeCase> {};

TEST_P(DumpTypeCodeTest, IsNamedWhereItIsAnUnknownOneOfTheFamily) {
  const TempDir dir;
  RecordBuilder(dir).Start(0).RawIndex(GetParam().bytes).Write();
  DumpResult result;
  const Json::Value broken = DumpJson(dir.path(), {}, &result)["records"][1];
  EXPECT_EQ(broken["bytes"].asUInt64(), GetParam().bytes.size());
  EXPECT_EQ(broken.isMember("type_code"), GetParam().type_code != 0);
  EXPECT_EQ(broken["type_code"].asUInt(), GetParam().type_code);
  const std::string text = Dump(dir.path(), {}, &result);
  EXPECT_EQ(text.find(" bytes\n") == std::string::npos, GetParam().type_code != 0) << text;
  if (GetParam().type_code != 0) {
    char code[32];
    std::snprintf(code, sizeof(code), " bytes type=0x%08X\n", GetParam().type_code);
    EXPECT_THAT(text, HasSubstr(code));
  }
}

std::vector<TypeCodeCase> TypeCodes() {
  const std::string rest(20, '\0');
  return {
      {"Reserved", kx_testing::BigEndian32(0xEEDDCC05) + rest, 0xEEDDCC05},
      {"First", kx_testing::BigEndian32(0xEEDDCC00) + rest, 0xEEDDCC00},
      {"Last", kx_testing::BigEndian32(0xEEDDCCFF) + rest, 0xEEDDCCFF},
      {"BelowTheFamily", kx_testing::BigEndian32(0xEEDDCBFF) + rest, 0},
      {"AboveTheFamily", kx_testing::BigEndian32(0xEEDDCD00) + rest, 0},
      {"CutReserved", kx_testing::BigEndian32(0xEEDDCC05), 0xEEDDCC05},
      {"CutInsideTheType", kx_testing::BigEndian32(0xEEDDCC05).substr(0, 3), 0},
      {"CutHeaderOfAKnownType", kx_testing::BigEndian32(0xEEDDCC06), 0},
      {"CutPayloadOfAKnownType", kx_testing::BigEndian32(0xEEDDCC06) + rest.substr(8), 0},
  };
}

INSTANTIATE_TEST_SUITE_P(Bytes, DumpTypeCodeTest, testing::ValuesIn(TypeCodes()),
                         [](const auto& test) { return test.param.name; });

TEST(RecordDumpTest, ExplainsAMissingIndex) {
  const TempDir dir;
  DumpResult result;
  EXPECT_EQ(Dump(dir.path(), {}, &result), "");
  EXPECT_FALSE(result.readable);
  EXPECT_THAT(result.error, HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace kxrtc_host
