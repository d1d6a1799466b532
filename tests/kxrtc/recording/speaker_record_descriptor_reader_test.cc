// What the descriptor's reader takes and what it refuses.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "tests/testing/descriptor_content.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::LoadDescriptor;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const char kOverall[] =
    R"("speaker_record_overall":{"record_session_count":%,"contain_video":1,"contain_desktop":0,)"
    R"("audio_channel_count":2})";
const char kSession[] =
    R"({"sessoin_start_timestamp_us":1000,"sessoin_end_timestamp_us":2000,)"
    R"("session_video_frame_count":3,"session_audio_frame_count":4,"session_video_switch_count":5})";

// A document with the given count and the given text of its sessions.
std::string Document(const std::string& count, const std::string& sessions) {
  std::string overall = kOverall;
  overall.replace(overall.find('%'), 1, count);
  return "{" + overall + ",\"speaker_record_session\":" + sessions + "}";
}

// The one-session document with `from` replaced by `to`.
std::string Altered(const std::string& from, const std::string& to) {
  std::string document = Document("1", std::string("[") + kSession + "]");
  const size_t at = document.find(from);
  EXPECT_NE(std::string::npos, at);
  return document.replace(at, from.size(), to);
}

TEST(DescReaderTextTest, TakesTheSameDocumentAsText) {
  SpeakerRecordDescReader reader;
  SpeakerRecordOverall overall;
  SpeakerRecordSession session;
  ASSERT_TRUE(reader.InitializeFromText(Document("1", std::string("[") + kSession + "]")));
  ASSERT_TRUE(reader.GetSpeakerRecordOverall(&overall));
  EXPECT_EQ(2u, overall.audio_channel_count);
  ASSERT_TRUE(reader.GetSpeakerRecordSession(0, &session));
  EXPECT_EQ(4u, session.session_audio_frame_count);
  ScopedLogCapture log;
  EXPECT_FALSE(reader.InitializeFromText("no document"));
  EXPECT_FALSE(reader.GetSpeakerRecordOverall(&overall));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed in reader.parse", "ERROR non-inited"));
}

TEST(DescReaderTextTest, LogsAFailureOfEitherUnderItsOwnName) {
  TempDir dir;
  SpeakerRecordDescReader reader;
  WriteFile(dir.File("x.desc"), "{}");
  ScopedLogCapture log;
  EXPECT_FALSE(reader.Initialize(dir.File("x.desc")));
  EXPECT_FALSE(reader.InitializeFromText("{}"));
  EXPECT_THAT(
      log.raw(),
      ElementsAre(HasSubstr("[ParseSpeakerRecordOverall]"), HasSubstr("[Initialize]"),
                  HasSubstr("[ParseSpeakerRecordOverall]"), HasSubstr("[InitializeFromText]")));
}

struct AcceptCase {
  const char* name;
  std::string document;
  std::vector<std::string> content;
};

class DescReaderAcceptsTest : public ::testing::TestWithParam<AcceptCase> {};

TEST_P(DescReaderAcceptsTest, LoadsTheDocument) {
  TempDir dir;
  ScopedLogCapture log;
  WriteFile(dir.File("x.desc"), GetParam().document);
  EXPECT_EQ(GetParam().content, LoadDescriptor(dir.File("x.desc")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

const std::vector<std::string> kOneSession = {"1 1 0 2", "1000..2000 v3 a4 s5"};

INSTANTIATE_TEST_SUITE_P(
    Documents, DescReaderAcceptsTest,
    ::testing::Values(
        AcceptCase{"OneSession", Altered("1000", "1000"), kOneSession},
        AcceptCase{"NullForNoSession", Document("0", "null"), {"0 1 0 2"}},
        AcceptCase{"EmptyArrayForNoSession", Document("0", "[]"), {"0 1 0 2"}},
        AcceptCase{"Comments", "// by hand\n" + Altered("1000", "/* us */1000"), kOneSession},
        AcceptCase{"TrailingText", Altered("1000", "1000") + "}\n]", kOneSession},
        AcceptCase{"TrailingZeros", Altered("1000", "1000") + std::string(100, '\0'), kOneSession},
        AcceptCase{"CountAsString", Document("\"0\"", "null"), {"0 1 0 2"}},
        AcceptCase{"UnknownMember", Altered("{\"sess", "{\"x\":[{}],\"sess"), kOneSession},
        AcceptCase{"LargestNumbers",
                   Document("1", R"([{"sessoin_start_timestamp_us":-9223372036854775808,)"
                                 R"("sessoin_end_timestamp_us":9223372036854775807,)"
                                 R"("session_video_frame_count":18446744073709551615,)"
                                 R"("session_audio_frame_count":0,)"
                                 R"("session_video_switch_count":4294967295}])"),
                   {"1 1 0 2",
                    "-9223372036854775808..9223372036854775807 v18446744073709551615 a0 "
                    "s4294967295"}}),
    [](const auto& param_info) { return param_info.param.name; });

struct RefuseCase {
  const char* name;
  std::string document;
  std::vector<std::string> problems;
};

class DescReaderRefusesTest : public ::testing::TestWithParam<RefuseCase> {};

TEST_P(DescReaderRefusesTest, TellsWhatIsWrong) {
  TempDir dir;
  ScopedLogCapture log;
  WriteFile(dir.File("x.desc"), GetParam().document);
  EXPECT_THAT(LoadDescriptor(dir.File("x.desc")), ElementsAre("refused"));
  EXPECT_EQ(GetParam().problems, log.lines());
}

std::vector<std::string> InFile(const std::string& problem) {
  return {"ERROR " + problem, "ERROR failed in ReadFromFile"};
}
std::vector<std::string> InOverall(const std::string& problem) {
  return {"ERROR " + problem, "ERROR failed in ParseSpeakerRecordOverall"};
}
std::vector<std::string> InSessions(const std::string& problem) {
  return {"ERROR " + problem, "ERROR failed in ParseSpeakerRecrodSessions"};
}
std::vector<std::string> InSession(const std::string& key) {
  return {"ERROR failed to get " + key, "ERROR failed in ParseSpeakerRecrodSession",
          "ERROR failed in ParseSpeakerRecrodSessions"};
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DescReaderRefusesTest,
    ::testing::Values(
        RefuseCase{"Empty", "", InFile("file size is not valid")},
        RefuseCase{"NoJson", "SpeakeRecord", InFile("failed in reader.parse")},
        RefuseCase{"CutShort", Document("1", std::string("[") + kSession),
                   InFile("failed in reader.parse")},
        RefuseCase{"NestedTooDeep", std::string(100000, '['), InFile("failed in reader.parse")},
        RefuseCase{"ScalarRoot", "7", InOverall("failed to get speaker_record_overall")},
        RefuseCase{"ArrayRoot", "[1]", InOverall("failed to get speaker_record_overall")}),
    [](const auto& param_info) { return param_info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Overall, DescReaderRefusesTest,
    ::testing::Values(RefuseCase{"NoOverall", "{}",
                                 InOverall("failed to get speaker_record_overall")},
                      RefuseCase{"OverallIsNoObject", R"({"speaker_record_overall":1})",
                                 InOverall("failed to get record_session_count")},
                      RefuseCase{"NoCount", Altered("record_session_count", "x"),
                                 InOverall("failed to get record_session_count")},
                      RefuseCase{"NoVideo", Altered("contain_video", "x"),
                                 InOverall("failed to get contain_video")},
                      RefuseCase{"NoDesktop", Altered("contain_desktop", "x"),
                                 InOverall("failed to get contain_desktop")},
                      RefuseCase{"NoChannels", Altered("audio_channel_count", "x"),
                                 InOverall("failed to get audio_channel_count")},
                      RefuseCase{"NegativeCount", Document("-1", "null"),
                                 InOverall("failed to get record_session_count")},
                      RefuseCase{"CountTooLarge", Document("4294967296", "null"),
                                 InOverall("failed to get record_session_count")}),
    [](const auto& param_info) { return param_info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Sessions, DescReaderRefusesTest,
    ::testing::Values(
        RefuseCase{"NoSessions", Altered("speaker_record_session", "x"),
                   InSessions("failed to get speaker_record_overall")},
        RefuseCase{"SessionsAreNoArray", Document("1", "{}"),
                   InSessions("sessions_value is not a array")},
        RefuseCase{"OneSessionTooFew", Document("2", std::string("[") + kSession + "]"),
                   InSessions("sessions_value = 1 is not expected(2)")},
        RefuseCase{"OneSessionTooMany", Document("0", std::string("[") + kSession + "]"),
                   InSessions("sessions_value = 1 is not expected(0)")},
        RefuseCase{"HugeCount", Document("4294967295", "null"),
                   InSessions("sessions_value = 0 is not expected(4294967295)")},
        RefuseCase{"SessionIsNoObject", Document("1", "[7]"),
                   InSession("sessoin_start_timestamp_us")},
        RefuseCase{"NoStart", Altered("sessoin_start", "x"),
                   InSession("sessoin_start_timestamp_us")},
        RefuseCase{"StartIsReal", Altered("1000", "1000.0"),
                   InSession("sessoin_start_timestamp_us")},
        RefuseCase{"StartIsString", Altered("1000", "\"1000\""),
                   InSession("sessoin_start_timestamp_us")},
        RefuseCase{"StartTooLarge", Altered("1000", "9223372036854775808"),
                   InSession("sessoin_start_timestamp_us")},
        RefuseCase{"NoEnd", Altered("sessoin_end", "x"), InSession("sessoin_end_timestamp_us")},
        RefuseCase{"EndTooSmall", Altered("2000", "-9223372036854775809"),
                   InSession("sessoin_end_timestamp_us")},
        RefuseCase{"NoVideoCount", Altered("session_video_frame", "x"),
                   InSession("session_video_frame_count")},
        RefuseCase{"NegativeVideoCount", Altered(":3,", ":-3,"),
                   InSession("session_video_frame_count")},
        RefuseCase{"NoAudioCount", Altered("session_audio_frame", "x"),
                   InSession("session_audio_frame_count")},
        RefuseCase{"AudioCountIsReal", Altered(":4,", ":4e0,"),
                   InSession("session_audio_frame_count")},
        RefuseCase{"NoSwitchCount", Altered("session_video_switch", "x"),
                   InSession("session_video_switch_count")}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(DescReaderTest, LoadsARecordOfVeryManySessions) {
  constexpr uint32_t kSessions = 120000;
  std::string sessions;
  for (uint32_t i = 0; i < kSessions; ++i) sessions += std::string(i == 0 ? "[" : ",") + kSession;
  const std::string document = Document(std::to_string(kSessions), sessions + "]");
  ASSERT_GT(document.size(), size_t{16} << 20);
  TempDir dir;
  ScopedLogCapture log;
  WriteFile(dir.File("x.desc"), document);
  const std::vector<std::string> content = LoadDescriptor(dir.File("x.desc"));
  ASSERT_EQ(content.size(), kSessions + 1);
  EXPECT_EQ("120000 1 0 2", content.front());
  EXPECT_EQ("1000..2000 v3 a4 s5", content.back());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DescReaderTest, ReadsAHugeSparseFileAsFarAsItsText) {
  constexpr uintmax_t kHuge = uintmax_t{1} << 40;
  TempDir dir;
  ScopedLogCapture log;
  WriteFile(dir.File("x.desc"), Altered("1000", "1000"));
  std::filesystem::resize_file(dir.File("x.desc"), kHuge);
  EXPECT_EQ(kOneSession, LoadDescriptor(dir.File("x.desc")));
  EXPECT_THAT(log.lines(), IsEmpty());
  WriteFile(dir.File("x.desc"), "");
  std::filesystem::resize_file(dir.File("x.desc"), kHuge);
  EXPECT_THAT(LoadDescriptor(dir.File("x.desc")), ElementsAre("refused"));
  EXPECT_EQ(log.lines(), InFile("failed in reader.parse"));
}

TEST(DescReaderTest, RefusesEveryTruncationOfADocument) {
  TempDir dir;
  const std::string document = Altered("1000", "1000");
  for (size_t length = 0; length < document.size(); ++length) {
    WriteFile(dir.File("x.desc"), document.substr(0, length));
    EXPECT_THAT(LoadDescriptor(dir.File("x.desc")), ElementsAre("refused")) << length;
  }
}

TEST(DescReaderTest, RefusesAMissingFileAndAFolder) {
  TempDir dir;
  ScopedLogCapture log;
  EXPECT_THAT(LoadDescriptor(dir.File("x.desc")), ElementsAre("refused"));
  EXPECT_THAT(LoadDescriptor(dir.path()), ElementsAre("refused"));
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR file size is not valid", "ERROR failed in ReadFromFile",
                          "ERROR file size is not valid", "ERROR failed in ReadFromFile"));
}

TEST(DescReaderTest, AnswersNothingBeforeAndAfterAGoodDocument) {
  TempDir dir;
  WriteFile(dir.File("good.desc"), Altered("1000", "1000"));
  WriteFile(dir.File("bad.desc"), Altered("1000", "1000.0"));
  SpeakerRecordDescReader reader;
  SpeakerRecordOverall overall;
  SpeakerRecordSession session;
  {
    ScopedLogCapture log;
    EXPECT_FALSE(reader.GetSpeakerRecordOverall(&overall));
    EXPECT_FALSE(reader.GetSpeakerRecordSession(0, &session));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR non-inited", "ERROR non-inited"));
  }
  ASSERT_TRUE(reader.Initialize(dir.File("good.desc")));
  EXPECT_TRUE(reader.GetSpeakerRecordSession(0, &session));
  EXPECT_FALSE(reader.Initialize(dir.File("bad.desc")));
  EXPECT_FALSE(reader.GetSpeakerRecordSession(0, &session));
  ASSERT_TRUE(reader.Initialize(dir.File("good.desc")));
  EXPECT_TRUE(reader.Finalize());
  EXPECT_FALSE(reader.GetSpeakerRecordOverall(&overall));
}

TEST(DescReaderTest, RefusesAnIndexPastTheLastSession) {
  TempDir dir;
  WriteFile(dir.File("x.desc"), Altered("1000", "1000"));
  SpeakerRecordDescReader reader;
  ASSERT_TRUE(reader.Initialize(dir.File("x.desc")));
  ScopedLogCapture log;
  SpeakerRecordSession session;
  session.session_video_switch_count = 77;
  EXPECT_FALSE(reader.GetSpeakerRecordSession(1, &session));
  EXPECT_FALSE(reader.GetSpeakerRecordSession(0xFFFFFFFF, &session));
  EXPECT_EQ(77U, session.session_video_switch_count);
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR invalid index = 1", "ERROR invalid index = 4294967295"));
}

}  // namespace
}  // namespace kxrtc
