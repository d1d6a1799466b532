#include "kxrtc/recording/speaker_record_writer.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/testing/log_capture.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpRecord;
using ::kx_testing::DumpTimes;
using ::kx_testing::ReadFile;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const VideoChannelInfo kCamera = {11, 1, 2};
const VideoChannelInfo kDesktop = {21, 1, 3};

RecvEncodedVideoFrame Video(int64_t timestamp_us, const std::string& bytes,
                            const VideoAttributes& attributes = {0, 640, 360}) {
  RecvEncodedVideoFrame frame;
  frame.timestamp_us = timestamp_us;
  frame.attributes = attributes;
  EXPECT_TRUE(frame.data.SetData(reinterpret_cast<const uint8_t*>(bytes.data()),
                                 static_cast<uint32_t>(bytes.size())));
  return frame;
}

RecvAudioFrame Audio(int64_t timestamp_us, const std::string& bytes) {
  RecvAudioFrame frame;
  frame.timestamp_us = timestamp_us;
  EXPECT_TRUE(frame.data.SetData(reinterpret_cast<const uint8_t*>(bytes.data()),
                                 static_cast<uint32_t>(bytes.size())));
  return frame;
}

class RecordWriterTest : public ::testing::Test {
 protected:
  void Create() {
    ASSERT_TRUE(writer_.CreateRecordFile(dir_.path()));
    ASSERT_TRUE(writer_.CreateDescriptor(dir_.path()));
  }

  std::string Index() const { return ReadFile(dir_.File("SpeakeRecord.index")); }

  TempDir dir_;
  int short_writes_ = 0;
  SpeakerRecordWriter writer_{[this] { ++short_writes_; }};
  ScopedLogCapture log_;
};

TEST_F(RecordWriterTest, WritesTheFormatToTheByte) {
  Create();
  ASSERT_TRUE(writer_.WriteStartStreamingRecord(1000000));
  ASSERT_TRUE(writer_.SwitchChannel({11, 1, 1}, SelectionReason::kNobodyRecorded, 1000001));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(1000002, std::string(5000, 'v'), {90, 0x280, 0x168})));
  ASSERT_TRUE(writer_.WriteAudioFrame(Audio(1000004, "aac")));
  ASSERT_TRUE(writer_.WriteStopStreamingRecord(1000005));
  const uint8_t expected[] = {
      0xEE, 0xDD, 0xCC, 0x01, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x40,              // start
      0xEE, 0xDD, 0xCC, 0x03, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x41, 0, 0, 0, 1,  // channel
      0xEE, 0xDD, 0xCC, 0x04, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x42, 0, 0, 0, 90, 0, 0, 2, 0x80,  //
      0,    0,    1,    0x68,  // attributes
      0xEE, 0xDD, 0xCC, 0x06, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x43, 0, 0, 0, 0,  0, 0, 0, 0,  //
      0,    0,    0x13, 0x88,                                                            // video
      0xEE, 0xDD, 0xCC, 0x07, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x44, 0, 0, 0, 0,  0, 0, 0, 0,  //
      0,    0,    0,    3,                                                               // audio
      0xEE, 0xDD, 0xCC, 0x02, 0, 0, 0, 0, 0, 0x0F, 0x42, 0x45,                           // stop
  };
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(expected), sizeof(expected)), Index());
  EXPECT_EQ(std::string(5000, 'v'), ReadFile(dir_.File("SpeakeRecord.264")));
  EXPECT_EQ("aac", ReadFile(dir_.File("SpeakeRecord.aac")));
}

TEST_F(RecordWriterTest, SessionWithoutMediaIs24BytesOfIndex) {
  Create();
  ASSERT_TRUE(writer_.WriteStartStreamingRecord(1));
  ASSERT_TRUE(writer_.WriteStopStreamingRecord(2));
  EXPECT_EQ(24U, Index().size());
}

struct TimeCase {
  const char* name;
  std::vector<int64_t> events;
  std::vector<long long> records;
};

class RecordTimeTest : public RecordWriterTest, public ::testing::WithParamInterface<TimeCase> {};

TEST_P(RecordTimeTest, RaisesATimeThatIsNotLaterByExactlyOne) {
  Create();
  for (const int64_t time : GetParam().events) {
    ASSERT_TRUE(writer_.WriteAudioFrame(Audio(time, "a")));
  }
  EXPECT_EQ(GetParam().records, DumpTimes(Index()));
}

INSTANTIATE_TEST_SUITE_P(
    Times, RecordTimeTest,
    ::testing::Values(TimeCase{"Rising", {5, 6, 9}, {5, 6, 9}}, TimeCase{"Equal", {5, 5}, {5, 6}},
                      TimeCase{"ThreeEqualGiveTheSameTimeTwice", {5, 5, 5}, {5, 6, 6}},
                      TimeCase{"NextMicrosecondAfterARaisedOne", {5, 5, 6, 7}, {5, 6, 7, 8}},
                      TimeCase{"GoingBackIsNotMadeMonotonic", {100, 50, 60}, {100, 51, 60}},
                      TimeCase{"ZeroIsNotLaterThanTheInitialZero", {0, 1}, {1, 2}},
                      TimeCase{"NegativeWhenTheClockWasSetBack", {-5, -5}, {-4, -4}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(RecordWriterTest, PrecedesFramesByAttributesWheneverTheyChange) {
  Create();
  ASSERT_TRUE(writer_.WriteStartStreamingRecord(1));
  ASSERT_TRUE(writer_.SwitchChannel(kCamera, SelectionReason::kNobodyRecorded, 2));
  log_.Clear();
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(3, "k1", {0, 640, 360})));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(4, "d1", {0, 640, 360})));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(5, "d2", {90, 640, 360})));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(6, "k2", {90, 320, 360})));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(7, "k3", {90, 320, 180})));
  ASSERT_TRUE(writer_.SwitchChannel(kDesktop, SelectionReason::kNobodyRecorded, 8));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(9, "k4", {90, 320, 180})));
  EXPECT_THAT(DumpRecord(dir_.path()),
              ElementsAre("start", "channel 2", "attributes 640x360 r0", "video k1", "video d1",
                          "attributes 640x360 r90", "video d2", "attributes 320x360 r90",
                          "video k2", "attributes 320x180 r90", "video k3", "channel 3",
                          "attributes 320x180 r90", "video k4"));
  EXPECT_THAT(log_.lines(),
              ElementsAre("INFO last_video_attributes changed, frame.rotation_angle = 0, "
                          "frame.width = 640, frame.height = 360",
                          "INFO last_video_attributes changed, frame.rotation_angle = 90, "
                          "frame.width = 640, frame.height = 360",
                          "INFO last_video_attributes changed, frame.rotation_angle = 90, "
                          "frame.width = 320, frame.height = 360",
                          "INFO last_video_attributes changed, frame.rotation_angle = 90, "
                          "frame.width = 320, frame.height = 180",
                          "INFO new recording info: ssrc = 21, user_id = 1, type = 3",
                          "INFO last_video_attributes changed, frame.rotation_angle = 90, "
                          "frame.width = 320, frame.height = 180"));
}

TEST_F(RecordWriterTest, TellsAttributesAfreshOnceTheChannelWasForgotten) {
  Create();
  ASSERT_TRUE(writer_.SwitchChannel(kCamera, SelectionReason::kNobodyRecorded, 1));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(2, "k")));
  EXPECT_EQ(kCamera, writer_.current_channel());
  writer_.ForgetChannel();
  EXPECT_EQ(VideoChannelInfo(), writer_.current_channel());
  ASSERT_TRUE(writer_.SwitchChannel(kCamera, SelectionReason::kNobodyRecorded, 3));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(4, "k")));
  EXPECT_THAT(DumpRecord(dir_.path()),
              ElementsAre("channel 2", "attributes 640x360 r0", "video k", "channel 2",
                          "attributes 640x360 r0", "video k"));
}

TEST_F(RecordWriterTest, CountsEventsInTheDescriptor) {
  Create();
  writer_.SetAudioFormat(2, 48000, 16);
  ASSERT_TRUE(writer_.WriteStartStreamingRecord(10));
  ASSERT_TRUE(writer_.SwitchChannel(kDesktop, SelectionReason::kNobodyRecorded, 20));
  ASSERT_TRUE(writer_.WriteVideoFrame(Video(30, "k")));
  ASSERT_TRUE(writer_.WriteAudioFrame(Audio(40, "a")));
  ASSERT_TRUE(writer_.WriteStopStreamingRecord(50));
  writer_.Finalize();
  SpeakerRecordDescReader reader;
  ASSERT_TRUE(reader.Initialize(dir_.File("SpeakeRecord.desc")));
  SpeakerRecordOverall overall;
  SpeakerRecordSession session;
  ASSERT_TRUE(reader.GetSpeakerRecordOverall(&overall));
  ASSERT_TRUE(reader.GetSpeakerRecordSession(0, &session));
  EXPECT_EQ(1U, overall.record_session_count);
  EXPECT_EQ(1U, overall.contain_video);
  EXPECT_EQ(1U, overall.contain_desktop);
  EXPECT_EQ(2U, overall.audio_channel_count);
  EXPECT_EQ(10, session.sessoin_start_timestamp_us);
  EXPECT_EQ(50, session.sessoin_end_timestamp_us);
  EXPECT_EQ(1U, session.session_video_frame_count);
  EXPECT_EQ(1U, session.session_audio_frame_count);
  EXPECT_EQ(1U, session.session_video_switch_count);
}

TEST_F(RecordWriterTest, AppendsAnEmptyFrame) {
  Create();
  ASSERT_TRUE(writer_.WriteAudioFrame(Audio(1, "")));
  EXPECT_THAT(DumpRecord(dir_.path()), ElementsAre("audio "));
}

TEST_F(RecordWriterTest, PutsTheFilesBesideAFolderThatIsGivenWithoutSeparator) {
  const std::string folder = dir_.path() + "talk";
  ASSERT_TRUE(writer_.CreateRecordFile(folder));
  ASSERT_TRUE(writer_.CreateDescriptor(folder));
  for (const char* extension : {".264", ".aac", ".index", ".desc"}) {
    EXPECT_EQ(0, access((dir_.path() + "talkSpeakeRecord" + extension).c_str(), F_OK)) << extension;
  }
}

TEST_F(RecordWriterTest, BeginsAnewAfterFinalize) {
  Create();
  ASSERT_TRUE(writer_.SwitchChannel(kCamera, SelectionReason::kNobodyRecorded, 100));
  writer_.Finalize();
  EXPECT_EQ(VideoChannelInfo(), writer_.current_channel());
  Create();
  ASSERT_TRUE(writer_.WriteStartStreamingRecord(50));
  EXPECT_THAT(DumpTimes(Index()), ElementsAre(50));
  writer_.Finalize();
  writer_.Finalize();
}

struct OpenCase {
  const char* name;
  const char* blocked;  // A folder stands where this file shall be.
  std::vector<std::string> lines;
};

class RecordOpenTest : public RecordWriterTest, public ::testing::WithParamInterface<OpenCase> {};

TEST_P(RecordOpenTest, NamesTheFileThatCannotBeCreated) {
  ASSERT_EQ(0, mkdir(dir_.File(GetParam().blocked).c_str(), 0700));
  EXPECT_FALSE(writer_.CreateRecordFile(dir_.path()) && writer_.CreateDescriptor(dir_.path()));
  EXPECT_EQ(GetParam().lines, log_.lines());
}

INSTANTIATE_TEST_SUITE_P(
    Files, RecordOpenTest,
    ::testing::Values(OpenCase{"Video", "SpeakeRecord.264", {"ERROR failed to open video file"}},
                      OpenCase{"Audio", "SpeakeRecord.aac", {"ERROR failed to open audio file"}},
                      OpenCase{"Index", "SpeakeRecord.index", {"ERROR failed to open index file"}},
                      OpenCase{"Descriptor", "SpeakeRecord.desc", {"ERROR failed to open file"}}),
    [](const auto& param_info) { return param_info.param.name; });

}  // namespace
}  // namespace kxrtc
