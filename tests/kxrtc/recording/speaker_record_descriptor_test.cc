#include "kxrtc/recording/speaker_record_descriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>
#include <string>

#include "tests/testing/log_capture.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::ReadFile;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t kMinInt64 = std::numeric_limits<int64_t>::min();
constexpr int64_t kMaxInt64 = std::numeric_limits<int64_t>::max();
constexpr uint64_t kMaxUInt64 = std::numeric_limits<uint64_t>::max();

// The fields one after another, for comparing whole.
std::string Describe(const SpeakerRecordOverall& overall) {
  return std::to_string(overall.record_session_count) + " " +
         std::to_string(overall.contain_video) + " " + std::to_string(overall.contain_desktop) +
         " " + std::to_string(overall.audio_channel_count);
}

std::string Describe(const SpeakerRecordSession& session) {
  return std::to_string(session.sessoin_start_timestamp_us) + ".." +
         std::to_string(session.sessoin_end_timestamp_us) + " v" +
         std::to_string(session.session_video_frame_count) + " a" +
         std::to_string(session.session_audio_frame_count) + " s" +
         std::to_string(session.session_video_switch_count);
}

// The overall counts and every session, as the reader sees them.
std::vector<std::string> Load(const std::string& file_name) {
  SpeakerRecordDescReader reader;
  if (!reader.Initialize(file_name)) return {"refused"};
  SpeakerRecordOverall overall;
  EXPECT_TRUE(reader.GetSpeakerRecordOverall(&overall));
  std::vector<std::string> result = {Describe(overall)};
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    SpeakerRecordSession session;
    EXPECT_TRUE(reader.GetSpeakerRecordSession(i, &session));
    result.push_back(Describe(session));
  }
  return result;
}

class DescWriterTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(writer_.Initialize(file_)); }

  TempDir dir_;
  std::string file_ = dir_.File("SpeakeRecord.desc");
  SpeakerRecordDescWriter writer_;
  ScopedLogCapture log_;
};

TEST_F(DescWriterTest, LeavesTheFileEmptyUntilTheFirstEvent) {
  writer_.SetAudioFormat(2, 48000, 16);
  EXPECT_EQ("", ReadFile(file_));
}

TEST_F(DescWriterTest, StoresNullForARecordWithoutSessions) {
  writer_.Finalize();
  EXPECT_EQ(
      "{\n"
      "\t\"speaker_record_overall\" : \n"
      "\t{\n"
      "\t\t\"audio_channel_count\" : 0,\n"
      "\t\t\"contain_desktop\" : 0,\n"
      "\t\t\"contain_video\" : 0,\n"
      "\t\t\"record_session_count\" : 0\n"
      "\t},\n"
      "\t\"speaker_record_session\" : null\n"
      "}\n",
      ReadFile(file_));
  EXPECT_THAT(Load(file_), ElementsAre("0 0 0 0"));
}

TEST_F(DescWriterTest, WritesStyledTextWithTheMembersOfEachSession) {
  writer_.SetAudioFormat(2, 48000, 16);
  writer_.OnRecordStart(1000);
  writer_.OnVideoSwitch(false, 1500);
  writer_.OnRecordVideoFrame(1600);
  writer_.OnRecordAudioFrame(1700);
  EXPECT_EQ(
      "{\n"
      "\t\"speaker_record_overall\" : \n"
      "\t{\n"
      "\t\t\"audio_channel_count\" : 2,\n"
      "\t\t\"contain_desktop\" : 0,\n"
      "\t\t\"contain_video\" : 1,\n"
      "\t\t\"record_session_count\" : 1\n"
      "\t},\n"
      "\t\"speaker_record_session\" : \n"
      "\t[\n"
      "\t\t{\n"
      "\t\t\t\"session_audio_frame_count\" : 1,\n"
      "\t\t\t\"session_video_frame_count\" : 1,\n"
      "\t\t\t\"session_video_switch_count\" : 1,\n"
      "\t\t\t\"sessoin_end_timestamp_us\" : 1700,\n"
      "\t\t\t\"sessoin_start_timestamp_us\" : 1000\n"
      "\t\t}\n"
      "\t]\n"
      "}\n",
      ReadFile(file_));
}

TEST_F(DescWriterTest, KeepsTwoSessionsInOrderEachEndingWithItsLastEvent) {
  writer_.OnRecordStart(1000);
  writer_.OnRecordAudioFrame(2000);
  writer_.OnRecordStop(3000);
  writer_.OnRecordStart(5000);
  writer_.OnRecordVideoFrame(6000);
  writer_.Finalize();
  EXPECT_THAT(Load(file_), ElementsAre("2 1 0 0", "1000..3000 v0 a1 s0", "5000..6000 v1 a0 s0"));
  EXPECT_THAT(log_.problems(), IsEmpty());
}

TEST_F(DescWriterTest, ClosesAnOpenSessionAtTheNewStart) {
  writer_.OnRecordStart(1000);
  writer_.OnRecordStart(4000);
  EXPECT_THAT(Load(file_), ElementsAre("2 0 0 0", "1000..4000 v0 a0 s0", "4000..4000 v0 a0 s0"));
}

TEST_F(DescWriterTest, RewritesTheFileForStartSwitchAndAudioFrameOnly) {
  writer_.OnRecordStart(1000);
  EXPECT_THAT(Load(file_), ElementsAre("1 0 0 0", "1000..1000 v0 a0 s0"));
  writer_.OnRecordVideoFrame(2000);
  EXPECT_THAT(Load(file_), ElementsAre("1 0 0 0", "1000..1000 v0 a0 s0"));
  writer_.OnVideoSwitch(false, 3000);
  EXPECT_THAT(Load(file_), ElementsAre("1 1 0 0", "1000..3000 v1 a0 s1"));
  writer_.OnRecordAudioFrame(4000);
  EXPECT_THAT(Load(file_), ElementsAre("1 1 0 0", "1000..4000 v1 a1 s1"));
  writer_.OnRecordStop(5000);
  EXPECT_THAT(Load(file_), ElementsAre("1 1 0 0", "1000..4000 v1 a1 s1"));
  EXPECT_TRUE(writer_.WriteToFile());
  EXPECT_THAT(Load(file_), ElementsAre("1 1 0 0", "1000..5000 v1 a1 s1"));
}

TEST_F(DescWriterTest, NeverTakesVideoOrDesktopBack) {
  writer_.OnRecordStart(1);
  writer_.OnVideoSwitch(true, 2);
  writer_.OnRecordVideoFrame(3);
  writer_.OnVideoSwitch(false, 4);
  writer_.OnRecordStop(5);
  writer_.OnRecordStart(6);
  EXPECT_THAT(Load(file_), ElementsAre("2 1 1 0", "1..5 v1 a0 s2", "6..6 v0 a0 s0"));
}

TEST_F(DescWriterTest, BeginsAnewWhenInitializedAgainAndFinishesTheFormerFile) {
  writer_.SetAudioFormat(2, 0, 0);
  writer_.OnRecordStart(1);
  writer_.OnRecordStop(7);
  const std::string other = dir_.File("other.desc");
  ASSERT_TRUE(writer_.Initialize(other));
  EXPECT_THAT(Load(file_), ElementsAre("1 0 0 2", "1..7 v0 a0 s0"));
  EXPECT_EQ("", ReadFile(other));
  writer_.Finalize();
  EXPECT_THAT(Load(other), ElementsAre("0 0 0 0"));
}

TEST_F(DescWriterTest, WritesExactlyTheStyledStringOfTheWholeDocument) {
  Json::Value sessions;
  SpeakerRecordOverall overall;
  for (int64_t i = 0; i < 12; ++i) {
    const int64_t start = i == 5 ? kMinInt64 : i * 1000003;
    writer_.OnRecordStart(start);
    writer_.OnRecordAudioFrame(start + i);
    SpeakerRecordSession session;
    session.sessoin_start_timestamp_us = start;
    session.sessoin_end_timestamp_us = start + i;
    session.session_audio_frame_count = 1;
    if (i < 11) {
      writer_.OnRecordStop(kMaxInt64);
      session.sessoin_end_timestamp_us = kMaxInt64;
    }
    ++overall.record_session_count;
    Json::Value element;
    SpeakerRecordSessionToJson(session, &element);
    sessions.append(element);
  }
  Json::Value root;
  SpeakerRecordOverallToJson(overall, &root["speaker_record_overall"]);
  root["speaker_record_session"] = sessions;
  EXPECT_EQ(root.toStyledString(), ReadFile(file_));
}

TEST_F(DescWriterTest, RefusesSessionEventsWithoutAnOpenSession) {
  writer_.OnRecordStop(1);
  writer_.OnVideoSwitch(true, 1);
  writer_.OnRecordVideoFrame(1);
  writer_.OnRecordAudioFrame(1);
  EXPECT_EQ("", ReadFile(file_));
  EXPECT_THAT(log_.raw(), ElementsAre(testing::HasSubstr("[OnRecordStop]"),
                                      testing::HasSubstr("[OnVideoSwitch]"),
                                      testing::HasSubstr("[OnRecordVideoFrame]"),
                                      testing::HasSubstr("[OnRecordAudioFrame]")));
  EXPECT_THAT(log_.lines(), testing::Each("ERROR no aviable session"));
  writer_.Finalize();
  EXPECT_THAT(Load(file_), ElementsAre("0 0 0 0"));
}

TEST(DescWriterLifeTest, RefusesEveryEventBeforeInitialize) {
  ScopedLogCapture log;
  SpeakerRecordDescWriter writer;
  writer.OnRecordStart(1);
  writer.OnRecordStop(1);
  writer.OnVideoSwitch(true, 1);
  writer.OnRecordVideoFrame(1);
  writer.OnRecordAudioFrame(1);
  EXPECT_EQ(5U, log.lines().size());
  EXPECT_THAT(log.lines(), testing::Each("ERROR non-inited"));
  EXPECT_TRUE(writer.Finalize());
}

TEST(DescWriterLifeTest, FailsWhenTheFileCannotBeCreated) {
  TempDir dir;
  ScopedLogCapture log;
  SpeakerRecordDescWriter writer;
  EXPECT_FALSE(writer.Initialize(dir.File("missing/x.desc")));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to open file"));
  writer.OnRecordStart(1);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to open file", "ERROR non-inited"));
}

TEST(DescWriterLifeTest, ReportsAFullDiskAndGoesOn) {
  TempDir dir;
  const std::string file = dir.File("full.desc");
  ASSERT_EQ(0, symlink("/dev/full", file.c_str()));
  ScopedLogCapture log;
  SpeakerRecordDescWriter writer;
  ASSERT_TRUE(writer.Initialize(file));
  writer.OnRecordStart(1);
  EXPECT_FALSE(writer.WriteToFile());
  EXPECT_TRUE(writer.Finalize());
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to write data", "ERROR failed to write data",
                                       "ERROR failed to write data"));
}

TEST(DescWriterLifeTest, DoesNotAppendToAFileThatCannotSeek) {
  TempDir dir;
  const std::string file = dir.File("fifo.desc");
  ASSERT_EQ(0, mkfifo(file.c_str(), 0600));
  const int other_end = open(file.c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(other_end, 0);
  ScopedLogCapture log;
  SpeakerRecordDescWriter writer;
  ASSERT_TRUE(writer.Initialize(file));
  EXPECT_FALSE(writer.WriteToFile());
  char byte = 0;
  EXPECT_EQ(-1, read(other_end, &byte, 1));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed to write data"));
  close(other_end);
}

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
  EXPECT_EQ(GetParam().content, Load(dir.File("x.desc")));
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
  EXPECT_THAT(Load(dir.File("x.desc")), ElementsAre("refused"));
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
        RefuseCase{"TooLong", std::string(kMaxDescriptorSize + 1, ' '),
                   InFile("file size is not valid")},
        RefuseCase{"LongestAllowed", std::string(kMaxDescriptorSize, ' '),
                   InFile("failed in reader.parse")},
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

TEST(DescReaderTest, RefusesEveryTruncationOfADocument) {
  TempDir dir;
  const std::string document = Altered("1000", "1000");
  for (size_t length = 0; length < document.size(); ++length) {
    WriteFile(dir.File("x.desc"), document.substr(0, length));
    EXPECT_THAT(Load(dir.File("x.desc")), ElementsAre("refused")) << length;
  }
}

TEST(DescReaderTest, RefusesAMissingFileAndAFolder) {
  TempDir dir;
  ScopedLogCapture log;
  EXPECT_THAT(Load(dir.File("x.desc")), ElementsAre("refused"));
  EXPECT_THAT(Load(dir.path()), ElementsAre("refused"));
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

TEST(DescJsonTest, NamesEveryMemberAndKeepsItsType) {
  SpeakerRecordOverall overall;
  overall.record_session_count = 4294967295U;
  overall.contain_video = 1;
  overall.contain_desktop = 1;
  overall.audio_channel_count = 2;
  Json::Value value;
  SpeakerRecordOverallToJson(overall, &value);
  EXPECT_EQ(4294967295U, value["record_session_count"].asUInt());
  EXPECT_EQ(Json::uintValue, value["record_session_count"].type());
  EXPECT_EQ(1U, value["contain_video"].asUInt());
  EXPECT_EQ(1U, value["contain_desktop"].asUInt());
  EXPECT_EQ(2U, value["audio_channel_count"].asUInt());
  EXPECT_EQ(4U, value.size());

  SpeakerRecordSession session;
  session.sessoin_start_timestamp_us = kMinInt64;
  session.session_video_frame_count = kMaxUInt64;
  value = Json::Value();
  SpeakerRecordSessionToJson(session, &value);
  EXPECT_EQ(Json::intValue, value["sessoin_start_timestamp_us"].type());
  EXPECT_EQ(Json::intValue, value["sessoin_end_timestamp_us"].type());
  EXPECT_EQ(Json::uintValue, value["session_video_frame_count"].type());
  EXPECT_EQ(Json::uintValue, value["session_audio_frame_count"].type());
  EXPECT_EQ(Json::uintValue, value["session_video_switch_count"].type());
  EXPECT_EQ(5U, value.size());

  int64_t signed_number = 7;
  uint64_t unsigned_number = 7;
  EXPECT_TRUE(GetInt64FromJsonObject(value, "sessoin_start_timestamp_us", &signed_number));
  EXPECT_EQ(kMinInt64, signed_number);
  EXPECT_FALSE(GetUInt64FromJsonObject(value, "sessoin_start_timestamp_us", &unsigned_number));
  EXPECT_FALSE(GetUInt64FromJsonObject(value, "missing", &unsigned_number));
  EXPECT_FALSE(GetUInt64FromJsonObject(Json::Value(7), "missing", &unsigned_number));
  EXPECT_EQ(7U, unsigned_number);
  EXPECT_FALSE(GetInt64FromJsonObject(value, "session_video_frame_count", &signed_number));
  EXPECT_TRUE(GetUInt64FromJsonObject(value, "session_video_frame_count", &unsigned_number));
  EXPECT_EQ(kMaxUInt64, unsigned_number);
}

}  // namespace
}  // namespace kxrtc
