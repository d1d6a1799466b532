// The check's judgement of a descriptor against that of the library's reader.
#include "record/check/descriptor_check.h"

#include <gmock/gmock.h>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::HasSubstr;

RecordBuilder OneSession(const TempDir& dir) {
  RecordBuilder builder(dir);
  kx_testing::AddHealthySession(builder, 0);
  return builder;
}

const std::string& Whole() {
  static const std::string text = OneSession(TempDir()).Descriptor();
  return text;
}

// That descriptor with one piece replaced.
std::string Altered(const std::string& from, const std::string& to) {
  std::string text = Whole();
  const size_t position = text.find(from);
  EXPECT_NE(position, std::string::npos) << from;
  return text.replace(position, from.size(), to);
}

uint64_t DescriptorErrors(const FindingList& findings) {
  return findings.count(FindingCode::kDescriptorMember) +
         findings.count(FindingCode::kDescriptorSessionCount) +
         findings.count(FindingCode::kDescriptorUnparsable);
}

struct Variant {
  const char* name;
  std::string text;
  bool is_taken;  // By the library.
};

class DescriptorVariantTest : public testing::TestWithParam<Variant> {};

TEST_P(DescriptorVariantTest, IsAnErrorWhereTheLibraryRefusesIt) {
  const TempDir dir;
  OneSession(dir).Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), GetParam().text);
  kxrtc::SpeakerRecordDescReader reader;
  ASSERT_EQ(reader.Initialize(dir.File("SpeakeRecord.desc")), GetParam().is_taken);
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(DescriptorErrors(summary.findings) == 0, GetParam().is_taken);
}

std::vector<Variant> Documents() {
  const std::string& whole = Whole();
  return {
      {"Whole", whole, true},
      {"Empty", "", false},
      {"Blank", " \n", false},
      {"Number", "1", false},
      {"Null", "null", false},
      {"Array", "[" + whole + "]", false},
      {"Cut", whole.substr(0, whole.size() / 2), false},
      {"ByteOrderMark", "\xEF\xBB\xBF" + whole, false},
      {"ZeroBytesBehind", whole + std::string(3, '\0'), true},
      {"ZeroByteBefore", std::string(1, '\0') + whole, false},
      {"ZeroByteInside", whole.substr(0, 60) + std::string(1, '\0') + whole.substr(60), false},
      {"RestBehind", whole + "}\n]\n", true},
      {"SecondDocumentBehind", whole + "{]", true},
      {"Comments", "// one\n/* two */" + whole + "// three", true},
      {"OpenComment", "/*" + whole, false},
      {"CommaBehindTheLastMember", Altered("count\":2}", "count\":2,}"), false},
      {"CommaBehindTheLastElement", Altered("}]", "},]"), false},
      {"SingleQuotes", Altered("\"contain_video\"", "'contain_video'"), false},
      {"DoubledMember", Altered("\"contain_video\":1", "\"contain_video\":1,\"contain_video\":-1"),
       false},
      {"FurtherMember", Altered("\"contain_video\":1", "\"contain_video\":1,\"other\":[{}]"), true},
      {"DeepMember",
       Altered("\"contain_video\":1", "\"other\":" + std::string(2000, '[') +
                                          std::string(2000, ']') + ",\"contain_video\":1"),
       false},
      {"NotANumber", Altered("count\":2}", "count\":NaN}"), false},
      {"InvalidUtf8", Altered("{", "{\"\xFF\":1,"), true},
  };
}

std::vector<Variant> Members() {
  const std::string& whole = Whole();
  const std::string overall = whole.substr(26, whole.find("},") - 26 + 1);
  const std::string sessions = whole.substr(whole.find("[{"));
  return {
      {"NoOverall", Altered("record_overall", "record_total"), false},
      {"NullOverall", Altered(overall, "null"), false},
      {"ArrayOverall", Altered(overall, "[" + overall + "]"), false},
      {"NoSessionsMember", Altered("record_session\"", "record_list\""), false},
      {"NullSessions", Altered(sessions, "null}"), false},
      {"ObjectSessions", Altered(sessions, "{}}"), false},
      {"TextSessions", Altered(sessions, "\"\"}"), false},
      {"EmptySessions", Altered(sessions, "[]}"), false},
      {"NullSession", Altered(sessions, "[null]}"), false},
      {"ArraySession", Altered(sessions, "[[]]}"), false},
      {"MoreSessionsThanListed", Altered("session_count\":1", "session_count\":2"), false},
      {"FewerSessionsThanListed", Altered("session_count\":1", "session_count\":0"), false},
      {"NoSessionsAtAll",
       "{\"speaker_record_overall\":{\"record_session_count\":0,\"contain_video\":0,"
       "\"contain_desktop\":0,\"audio_channel_count\":0},\"speaker_record_session\":null}",
       true},
      {"NoSessionsAndNoMember",
       "{\"speaker_record_overall\":{\"record_session_count\":0,\"contain_video\":0,"
       "\"contain_desktop\":0,\"audio_channel_count\":0}}",
       false},
  };
}

INSTANTIATE_TEST_SUITE_P(Documents, DescriptorVariantTest, testing::ValuesIn(Documents()),
                         [](const auto& test) { return test.param.name; });
INSTANTIATE_TEST_SUITE_P(Members, DescriptorVariantTest, testing::ValuesIn(Members()),
                         [](const auto& test) { return test.param.name; });

// Whatever stands in the place of a number, in each place.
TEST(DescriptorCheckTest, TakesForANumberWhatTheLibraryTakes) {
  const char* const kMembers[] = {
      "record_session_count\":1",
      "contain_video\":1",
      "contain_desktop\":0",
      "audio_channel_count\":2",
      "start_timestamp_us\":0",
      "end_timestamp_us\":70000",
      "session_video_frame_count\":2",
      "session_audio_frame_count\":3",
      "session_video_switch_count\":1",
  };
  const char* const kValues[] = {
      "0",
      "1",
      "-0",
      "-1",
      "2.0",
      "1.0",
      "0.0",
      "0.5",
      "1.5",
      "-0.5",
      "-0.0",
      "1e0",
      "1e300",
      "1E+2",
      "true",
      "false",
      "null",
      "[]",
      "{}",
      "[1]",
      "\"1\"",
      "\"\"",
      "\"a\"",
      "\"1.0\"",
      "\" 1\"",
      "\"1 \"",
      "\"+1\"",
      "\"-1\"",
      "\"0x1\"",
      "\"01\"",
      "01",
      "+1",
      "4294967295",
      "4294967296",
      "\"4294967295\"",
      "\"4294967296\"",
      "9223372036854775807",
      "9223372036854775808",
      "-9223372036854775808",
      "-9223372036854775809",
      "18446744073709551615",
      "18446744073709551616",
      "\"-18446744073709551615\"",
  };
  const TempDir dir;
  OneSession(dir).Write();
  RecordSummary index_only = AnalyseRecord(dir.path());
  index_only.findings = {};
  uint64_t taken = 0;
  uint64_t refused = 0;
  for (const std::string member : kMembers) {
    const std::string key = member.substr(0, member.find(':') + 1);
    for (const char* value : kValues) {
      kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), Altered(member, key + value));
      kxrtc::SpeakerRecordDescReader reader;
      const bool is_taken = reader.Initialize(dir.File("SpeakeRecord.desc"));
      ++(is_taken ? taken : refused);
      ReadOnlyFile file;
      ASSERT_EQ(file.Open(dir.File("SpeakeRecord.desc")), ReadOnlyFile::State::kOpen);
      RecordSummary summary = index_only;
      CheckDescriptor(file, &summary);
      EXPECT_EQ(DescriptorErrors(summary.findings) == 0, is_taken) << key << value;
    }
  }
  EXPECT_GT(taken, 80u);
  EXPECT_GT(refused, 80u);
}

TEST(DescriptorCheckTest, NamesTheByteOrderMark) {
  const TempDir dir;
  OneSession(dir).Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), "\xEF\xBB\xBF" + Whole());
  const RecordSummary summary = AnalyseRecord(dir.path());
  ASSERT_EQ(summary.findings.count(FindingCode::kDescriptorUnparsable), 1u);
  EXPECT_THAT(summary.findings.Sorted().front().text, HasSubstr("byte order mark"));
}

// Repair needs one number of it only, and takes that from what no reader takes.
TEST(DescriptorCheckTest, FindsTheChannelCountBehindAByteOrderMark) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("desc"), "\xEF\xBB\xBF" + Altered("count\":2}", "count\":5}"));
  ReadOnlyFile file;
  ASSERT_EQ(file.Open(dir.File("desc")), ReadOnlyFile::State::kOpen);
  const auto member = ReadDescriptorRemains(file, 1).audio_channels;
  ASSERT_TRUE(member);
  EXPECT_EQ(member->count, 5u);
  EXPECT_EQ(member->offset, 3 + Whole().find("count\":2}") + 7);
}

}  // namespace
}  // namespace kxrtc_host
