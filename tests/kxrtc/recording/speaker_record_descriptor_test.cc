#include "kxrtc/recording/speaker_record_descriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>
#include <string>

#include "tests/testing/descriptor_content.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::LoadDescriptor;
using ::kx_testing::ReadFile;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t kMinInt64 = std::numeric_limits<int64_t>::min();
constexpr int64_t kMaxInt64 = std::numeric_limits<int64_t>::max();
constexpr uint64_t kMaxUInt64 = std::numeric_limits<uint64_t>::max();

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
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("0 0 0 0"));
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
  EXPECT_THAT(LoadDescriptor(file_),
              ElementsAre("2 1 0 0", "1000..3000 v0 a1 s0", "5000..6000 v1 a0 s0"));
  EXPECT_THAT(log_.problems(), IsEmpty());
}

TEST_F(DescWriterTest, ClosesAnOpenSessionAtTheNewStart) {
  writer_.OnRecordStart(1000);
  writer_.OnRecordStart(4000);
  EXPECT_THAT(LoadDescriptor(file_),
              ElementsAre("2 0 0 0", "1000..4000 v0 a0 s0", "4000..4000 v0 a0 s0"));
}

TEST_F(DescWriterTest, RewritesTheFileForStartSwitchAndAudioFrameOnly) {
  writer_.OnRecordStart(1000);
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 0 0 0", "1000..1000 v0 a0 s0"));
  writer_.OnRecordVideoFrame(2000);
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 0 0 0", "1000..1000 v0 a0 s0"));
  writer_.OnVideoSwitch(false, 3000);
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 1 0 0", "1000..3000 v1 a0 s1"));
  writer_.OnRecordAudioFrame(4000);
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 1 0 0", "1000..4000 v1 a1 s1"));
  writer_.OnRecordStop(5000);
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 1 0 0", "1000..4000 v1 a1 s1"));
  EXPECT_TRUE(writer_.WriteToFile());
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 1 0 0", "1000..5000 v1 a1 s1"));
}

TEST_F(DescWriterTest, NeverTakesVideoOrDesktopBack) {
  writer_.OnRecordStart(1);
  writer_.OnVideoSwitch(true, 2);
  writer_.OnRecordVideoFrame(3);
  writer_.OnVideoSwitch(false, 4);
  writer_.OnRecordStop(5);
  writer_.OnRecordStart(6);
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("2 1 1 0", "1..5 v1 a0 s2", "6..6 v0 a0 s0"));
}

TEST_F(DescWriterTest, BeginsAnewWhenInitializedAgainAndFinishesTheFormerFile) {
  writer_.SetAudioFormat(2, 0, 0);
  writer_.OnRecordStart(1);
  writer_.OnRecordStop(7);
  const std::string other = dir_.File("other.desc");
  ASSERT_TRUE(writer_.Initialize(other));
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("1 0 0 2", "1..7 v0 a0 s0"));
  EXPECT_EQ("", ReadFile(other));
  writer_.Finalize();
  EXPECT_THAT(LoadDescriptor(other), ElementsAre("0 0 0 0"));
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
  EXPECT_THAT(LoadDescriptor(file_), ElementsAre("0 0 0 0"));
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
