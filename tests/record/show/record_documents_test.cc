#include "record/show/record_documents.h"

#include <gmock/gmock.h>
#include <json/value.h>

#include <set>

#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::HasSubstr;

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

std::string Schema(const std::string& document) {
  return kx_testing::ReadFile(KX_SCHEMA_FOLDER "/" + document + ".json");
}

TEST(RecordDocumentsTest, NumbersHaveNoDigitsBeyondMicroseconds) {
  Json::Value value(Json::arrayValue);
  for (const double number : {0.300072, 0.1 + 0.2, 1.0, 604800.000001, -0.000001}) {
    value.append(number);
  }
  value.append(Json::UInt64{18446744073709551615U});
  EXPECT_EQ(JsonText(value), "[0.300072,0.3,1.0,604800.000001,-0.000001,18446744073709551615]");
}

TEST(RecordDocumentsTest, TextsHaveNoControlCharacters) {
  EXPECT_EQ(JsonText(Json::Value("a\n\x1B\x7F\xC2\x9B\xE2\x80\xAE~")),
            R"("a\n\u001b\u007f\u009b\u202e~")");
}

TEST(RecordDocumentsTest, EverySeverityIsDocumented) {
  for (const Severity severity : {Severity::kInfo, Severity::kWarning, Severity::kError}) {
    EXPECT_THAT(Schema("kxrtc.verify"), HasSubstr(Quoted(SeverityName(severity))));
  }
}

TEST(RecordDocumentsTest, EveryReasonIsDocumented) {
  for (const FillerReason reason :
       {FillerReason::kAudioOnly, FillerReason::kWaitingForKeyFrame, FillerReason::kGap}) {
    EXPECT_THAT(Schema("kxrtc.verify"), HasSubstr(Quoted(FillerReasonName(reason))));
  }
}

TEST(RecordDocumentsTest, EverySourceOfTheChannelCountIsDocumented) {
  for (const ChannelSource source :
       {ChannelSource::kOption, ChannelSource::kDescriptor, ChannelSource::kAudioFrames}) {
    EXPECT_THAT(Schema("kxrtc.repair"), HasSubstr(Quoted(ChannelSourceName(source))));
  }
}

TEST(RecordDocumentsTest, EveryKindOfChangeIsDocumented) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder(dir).Start(0).Audio(1).RawIndex("torn").Write();
  const Json::Value document = RepairDocument(RepairRecord(dir.path(), target.File("new"), {}));
  std::set<std::string> kinds;
  for (const Json::Value& change : document["changes"]) {
    kinds.insert(change["kind"].asString());
    EXPECT_THAT(Schema("kxrtc.repair"), HasSubstr(Quoted(change["kind"].asString())));
  }
  EXPECT_THAT(kinds, testing::ElementsAre("added", "lost"));
}

TEST(RecordDocumentsTest, TheMediaTypesHaveTheirDocumentedMeaning) {
  const TempDir dir;
  RecordBuilder(dir)
      .Start(0)
      .Channel(1, 0)
      .Channel(2, kCamera)
      .Channel(3, kDesktop)
      .Stop(4)
      .Write();
  const Json::Value document = InfoDocument(AnalyseRecord(dir.path()));
  std::vector<uint32_t> types;
  for (const Json::Value& change : document["switches"]) {
    types.push_back(change["media_type"].asUInt());
  }
  EXPECT_THAT(types, testing::ElementsAre(0u, 2u, 3u));
  EXPECT_THAT(Schema("kxrtc.info"), HasSubstr("0: no video; 2: camera; 3: desktop share"));
}

TEST(RecordDocumentsTest, InfoTellsTheChannelsOfTheDescriptorWhereThereIsOne) {
  const TempDir dir;
  RecordBuilder(dir).Start(0).Stop(1).AudioChannels(6).Write();
  const Json::Value audio = InfoDocument(AnalyseRecord(dir.path()))["audio"];
  EXPECT_EQ(audio["descriptor_channels"].asUInt(), 6u);
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), "torn");
  EXPECT_FALSE(InfoDocument(AnalyseRecord(dir.path()))["audio"].isMember("descriptor_channels"));
}

TEST(RecordDocumentsTest, BeyondTheFirst256MediaTypesAreOne) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0);
  for (uint32_t type = 0; type < 300; ++type) builder.Channel(type, type);
  builder.Stop(300).Write();
  const Json::Value channels = InfoDocument(AnalyseRecord(dir.path()))["channels"];
  EXPECT_EQ(channels.size(), 257u);
  EXPECT_EQ(channels[256]["media_type"].asUInt(), 4294967295u);
  EXPECT_EQ(channels[256]["switches"].asUInt(), 300u - 256);
  EXPECT_THAT(Schema("kxrtc.info"), HasSubstr("4294967295"));
}

}  // namespace
}  // namespace kxrtc_host
