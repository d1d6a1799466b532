// What the replay pushes, in which order and at which output time.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "kx_utility/sequential_reader.h"
#include "kxrtc/recording/speaker_record_transcoder_imp.h"
#include "tests/testing/fake_media_components.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/record_builder.h"

namespace kxrtc {
namespace {

using ::kx_testing::BigEndian32;
using ::kx_testing::BigEndian64;
using ::kx_testing::CountReadCalls;
using ::kx_testing::FakeMediaComponentFactory;
using ::kx_testing::FakeMp4SinkWriter;
using ::kx_testing::FakeTranscoderObserver;
using ::kx_testing::kCamera;
using ::kx_testing::RecordBuilder;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t kFrame = 21333;

class ReplayTest : public ::testing::Test {
 protected:
  ReplayTest() : record(dir) {}

  // Writes the record and replays it to its end; returns the observer's events.
  std::vector<std::string> Replay() {
    record.Write();
    return ReplayWritten();
  }

  std::vector<std::string> ReplayWritten() {
    FakeTranscoderObserver observer;
    log.Clear();
    if (transcoder.StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory)) {
      EXPECT_TRUE(observer.WaitForEnd());
    }
    transcoder.StopTranscoding();
    return observer.events();
  }

  // `count` audio frames, the first at `timestamp_us`, on the recorder's usual grid.
  void AddAudio(int64_t timestamp_us, int count) {
    for (int i = 0; i < count; ++i) record.Audio(timestamp_us + i * kFrame, "a");
  }

  TempDir dir;
  RecordBuilder record;
  FakeMp4SinkWriter writer;
  FakeMediaComponentFactory factory{&writer};
  ScopedLogCapture log;
  SpeakerRecordTranscoderImp transcoder;
};

TEST_F(ReplayTest, DropsDeltaFramesUntilTheKeyFrameAfterAChannelChange) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 480).Delta(0).Delta(5).Key(40000);
  record.Delta(80000).Stop(90000);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(),
              ElementsAre("attributes 640x480 r0", "video 40000 key", "video 80000 delta"));
  EXPECT_THAT(
      log.problems(),
      ElementsAre(
          "WARNING need a key frame, so drop this delta frameheader.record_timestamp_us = 0",
          "WARNING need a key frame, so drop this delta frameheader.record_timestamp_us = 5"));
}

TEST_F(ReplayTest, LogsEveryRecordThatChangesTheState) {
  record.Start(7).Channel(8, kCamera).Attributes(9, 640, 480, 90).Stop(10);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  const std::vector<std::string> lines = log.lines();
  EXPECT_THAT(lines, Contains("INFO got kStartRecording record , record_timestamp_us = 7"));
  EXPECT_THAT(
      lines,
      Contains("INFO got kNewChannel record, record_timestamp_us = 8, record.media_type = 2"));
  EXPECT_THAT(lines, Contains("INFO got kNewVideoAttributes record, record_timestamp_us = 9, "
                              "record.height = 480, record.width = 640, record.rotation_angle = "
                              "90"));
  EXPECT_THAT(lines, Contains("INFO got stop record, record_timestamp_us = 10"));
}

TEST_F(ReplayTest, EmptySessionIsTwentyFourBytesAndCompletes) {
  record.Start(0).Stop(1);
  EXPECT_EQ(24u, record.index().size());
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(), IsEmpty());
}

TEST_F(ReplayTest, PlacesVideoAgainstTheLatestAudioFrame) {
  record.Start(1000000).Channel(1000000, kCamera).Attributes(1000000, 640, 360);
  record.Key(1015000).Audio(1020000, "a").Delta(1035000).Delta(1060000).Stop(1070000);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(),
              ElementsAre("attributes 640x360 r0", "video 15000 key", "audio 21333 a",
                          "video 36333 delta", "video 61333 delta"));
}

TEST_F(ReplayTest, VideoRecordedBeforeTheLatestAudioLandsOnTheAudioClock) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Audio(50000, "a");
  record.Delta(40000).Delta(41000).Stop(60000);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(),
              ElementsAre("attributes 640x360 r0", "video 10000 key", "audio 21333 a",
                          "video 21333 delta", "video 31333 delta"));
}

TEST_F(ReplayTest, KeepsTenMillisecondsBetweenVideoSamples) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Delta(19999).Delta(30000);
  record.Stop(30001);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(), ElementsAre("attributes 640x360 r0", "video 10000 key",
                                            "video 20000 delta", "video 30000 delta"));
}

TEST_F(ReplayTest, AudioOnlyRecordIsFilledAtTheStartAndEveryHalfSecond) {
  record.Start(0).Channel(0, 0);
  AddAudio(0, 60);
  record.Stop(2000000);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  std::vector<std::string> fillers;
  for (const std::string& sample : writer.samples()) {
    if (sample.rfind("audio", 0) != 0) fillers.push_back(sample);
  }
  // The clip ends 70 ms behind its first frame; the next one comes with the first audio frame that
  // is more than 500 ms behind that.
  EXPECT_THAT(fillers,
              ElementsAre("attributes 640x360 r0", "icon 10000", "icon 597324", "icon 1173315"));
  EXPECT_THAT(log.problems(), IsEmpty());
}

TEST_F(ReplayTest, IconFramesAreTenMillisecondsApart) {
  record.Start(0).Channel(0, 0).Stop(1);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  std::vector<std::string> videos;
  for (const std::string& call : writer.calls()) {
    if (call.rfind("video", 0) == 0) videos.push_back(call);
  }
  EXPECT_THAT(videos, ElementsAre("video 10000 icon0", "video 20000 icon1", "video 30000 icon2",
                                  "video 40000 icon3", "video 50000 icon4", "video 60000 icon5",
                                  "video 70000 icon6", "video 80000 icon7"));
}

TEST_F(ReplayTest, TwoInsertionsInARowNeverOverlap) {
  record.Start(0).Channel(0, 0).Channel(1, 0).Stop(2);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(), ElementsAre("attributes 640x360 r0", "icon 10000",
                                            "attributes 640x360 r0", "icon 90000"));
}

TEST_F(ReplayTest, FirstAudioFrameWithoutVideoBringsTheFiller) {
  record.Start(0).Audio(0, "a").Stop(1);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(),
              ElementsAre("audio 21333 a", "attributes 640x360 r0", "icon 21333"));
  EXPECT_THAT(log.problems(), IsEmpty());  // No channel: nothing is missing.
}

TEST_F(ReplayTest, StaticDesktopIsKeptForFiveSecondsAndThenFilled) {
  record.Start(0).Channel(0, 3).Attributes(0, 1280, 720).Key(10000);
  AddAudio(0, 236);
  record.Delta(5034600).Key(5034700).Stop(5034800);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  // 235 frames reach 5013255, still more than 10000 + 5000000: so the 235th fills.
  std::vector<std::string> videos;
  for (const std::string& sample : writer.samples()) {
    if (sample.rfind("audio", 0) != 0) videos.push_back(sample);
  }
  EXPECT_THAT(videos,
              ElementsAre("attributes 1280x720 r0", "video 10000 key", "attributes 640x360 r0",
                          "icon 5013255", "attributes 1280x720 r0", "video 5093255 key"));
  EXPECT_THAT(log.problems(),
              ElementsAre("WARNING too long for next video frame, insert icon only frames.",
                          "WARNING need a key frame, so drop this delta frame"
                          "header.record_timestamp_us = 5034600"));
}

TEST_F(ReplayTest, FillsHalfASecondAfterTheLastPictureWhileWaitingForAKeyFrame) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(10000).Channel(10001, kCamera);
  AddAudio(0, 24);
  record.Stop(600000);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  const std::vector<std::string> samples = writer.samples();
  ASSERT_EQ(28u, samples.size());
  EXPECT_EQ("audio 511992 a", samples[25]);
  EXPECT_EQ("attributes 640x360 r0", samples[26]);
  EXPECT_EQ("icon 511992", samples[27]);
}

TEST_F(ReplayTest, ConcatenatesSessionsIntoOneTimeline) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Audio(0, "a").Stop(1);
  record.Start(900000000).Key(900000000).Audio(900000001, "b").Stop(900000002);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  // The channel carries over; the second session waits for its own key frame.
  EXPECT_THAT(writer.samples(), ElementsAre("attributes 640x360 r0", "video 10000 key",
                                            "audio 21333 a", "video 21333 key", "audio 42666 b"));
}

TEST_F(ReplayTest, SecondSessionStartsWaitingForAKeyFrame) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Stop(1);
  record.Start(2).Delta(3).Stop(4);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(), ElementsAre("attributes 640x360 r0", "video 10000 key"));
}

TEST_F(ReplayTest, SecondRunContinuesTheOutputTimeOfTheFirst) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Audio(0, "a").Stop(1);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  writer.Clear();
  EXPECT_THAT(ReplayWritten(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(),
              ElementsAre("attributes 640x360 r0", "video 21333 key", "audio 42666 a"));
}

TEST_F(ReplayTest, SecondRunCarriesTheChannelOver) {
  record.Start(0).Channel(0, kCamera).Stop(1);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  kx_testing::WriteFile(dir.File("SpeakeRecord.index"),
                        RecordBuilder(dir).Start(0).Attributes(0, 320, 240).Stop(1).index());
  EXPECT_THAT(ReplayWritten(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(), ElementsAre("attributes 320x240 r0"));
}

TEST_F(ReplayTest, SeeksWhereTheIndexSaysOtherwise) {
  record.RawVideo("gap").Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Stop(1);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(), ElementsAre("attributes 640x360 r0", "video 10000 key"));
  EXPECT_THAT(log.problems(),
              ElementsAre("WARNING position is not correct, cp 0, record.start_position = 3"));
}

TEST_F(ReplayTest, StaysWithinTheRangeForAnyRecorderTime) {
  record.Start(INT64_MIN).Channel(0, kCamera).Attributes(0, 640, 360).Key(INT64_MAX).Delta(0);
  record.Audio(INT64_MIN, "a").Stop(1);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  EXPECT_THAT(writer.samples(),
              ElementsAre("attributes 640x360 r0", "video 9223372036854775807 key",
                          "video 9223372036854775807 delta", "audio 21333 a"));
}

struct BrokenIndexCase {
  const char* name;
  std::string index;
  std::vector<std::string> problems;
};

class BrokenIndexTest : public ReplayTest, public ::testing::WithParamInterface<BrokenIndexCase> {};

TEST_P(BrokenIndexTest, EndsWithErrorFourAndItsMessages) {
  record.Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.index"), GetParam().index);
  EXPECT_THAT(ReplayWritten(), ElementsAre("error 4"));
  EXPECT_EQ(GetParam().problems, log.problems());
}

std::string Header(uint32_t type, int64_t timestamp_us = 0) {
  return BigEndian32(type) + BigEndian64(static_cast<uint64_t>(timestamp_us));
}

const std::string kStart = Header(0xEEDDCC01);
const std::string kCameraChannel = Header(0xEEDDCC03) + BigEndian32(kCamera);

std::vector<std::string> SessionFailure(std::vector<std::string> problems) {
  problems.push_back("ERROR failed in ProcessMediaSession");
  return problems;
}

INSTANTIATE_TEST_SUITE_P(
    Indices, BrokenIndexTest,
    ::testing::Values(
        BrokenIndexCase{
            "Empty",
            "",
            {"ERROR failed to read SpeakerRecordHeader", "ERROR failed in GetNextRecordHeader",
             "ERROR failed in StartMediaSession"}},
        BrokenIndexCase{
            "BeginsWithAChannel",
            kCameraChannel,
            {"ERROR unexpected type = -287454205", "ERROR failed in StartMediaSession"}},
        BrokenIndexCase{"NoStopRecord", kStart,
                        SessionFailure({"ERROR failed to read SpeakerRecordHeader",
                                        "ERROR failed in GetNextRecordHeader"})},
        BrokenIndexCase{"CutHeader", kStart + Header(0xEEDDCC02).substr(0, 11),
                        SessionFailure({"ERROR failed to read SpeakerRecordHeader",
                                        "ERROR failed in GetNextRecordHeader"})},
        BrokenIndexCase{"CutChannel", kStart + Header(0xEEDDCC03) + "abc",
                        SessionFailure({"ERROR failed to read NewChannelRecord",
                                        "ERROR failed in GetNewChannelRecord"})},
        BrokenIndexCase{"CutAttributes",
                        kStart + kCameraChannel + Header(0xEEDDCC04) + std::string(11, '\0'),
                        SessionFailure({"ERROR failed to read NewVideoAttributesRecord",
                                        "ERROR failed in GetNewVideoAttributesRecord"})},
        BrokenIndexCase{"CutVideo",
                        kStart + kCameraChannel + Header(0xEEDDCC06) + std::string(11, '\0'),
                        SessionFailure({"ERROR failed to read VideoDataRecord",
                                        "ERROR failed in GetVideoDataRecord"})},
        BrokenIndexCase{"CutAudio", kStart + Header(0xEEDDCC07) + std::string(11, '\0'),
                        SessionFailure({"ERROR failed to read AudioDataRecord",
                                        "ERROR failed in GetVideoDataRecord"})},
        BrokenIndexCase{"ReservedType", kStart + Header(0xEEDDCC05),
                        SessionFailure({"WARNING unexpected header.type = 4007513093"})},
        BrokenIndexCase{"StartInsideASession", kStart + kStart,
                        SessionFailure({"WARNING unexpected header.type = 4007513089"})},
        BrokenIndexCase{"AttributesWithoutAChannel",
                        kStart + Header(0xEEDDCC04) + std::string(12, '\0'),
                        SessionFailure({"ERROR no data should not has video attribute"})},
        BrokenIndexCase{"VideoWithoutAChannel", kStart + Header(0xEEDDCC06) + std::string(12, '\0'),
                        SessionFailure({"ERROR no data should not has video data"})},
        BrokenIndexCase{
            "VideoPastTheEndOfItsFile",
            kStart + kCameraChannel + Header(0xEEDDCC06) + BigEndian64(0) + BigEndian32(0xFFFFFFFF),
            SessionFailure({"ERROR failed in video_file_.Read", "ERROR failed in PushVideoData"})},
        BrokenIndexCase{
            "VideoBehindTheEndOfItsFile",
            kStart + kCameraChannel + Header(0xEEDDCC06) + BigEndian64(1u << 31) + BigEndian32(1),
            SessionFailure({"WARNING position is not correct, cp 0, "
                            "record.start_position = 2147483648",
                            "ERROR failed in video_file_.Read", "ERROR failed in PushVideoData"})},
        BrokenIndexCase{
            "AudioPastTheEndOfItsFile",
            kStart + Header(0xEEDDCC07) + BigEndian64(0) + BigEndian32(1),
            SessionFailure({"ERROR failed in video_file_.Read", "ERROR failed in PushVideoData"})},
        BrokenIndexCase{
            "PositionThatNoFileHas",
            kStart + Header(0xEEDDCC07) + BigEndian64(uint64_t{1} << 63) + BigEndian32(1),
            SessionFailure({"WARNING position is not correct, cp 0, "
                            "record.start_position = 9223372036854775808",
                            "ERROR failed in video_file_.Seek", "ERROR failed in PushVideoData"})}),
    [](const auto& param_info) { return param_info.param.name; });

struct RefusingWriterCase {
  const char* name;
  const char* fail_at;
  std::vector<std::string> problems;
};

class RefusingWriterTest : public ReplayTest,
                           public ::testing::WithParamInterface<RefusingWriterCase> {};

TEST_P(RefusingWriterTest, EndsWithErrorFourAndItsMessages) {
  record.Start(0).Channel(0, 0).Channel(1, kCamera).Attributes(1, 320, 240).Key(100000);
  record.Audio(100001, "a").Channel(100002, kCamera);
  AddAudio(100003, 30);
  record.Stop(900000);
  writer.fail_at = GetParam().fail_at;
  EXPECT_THAT(Replay(), ElementsAre("error 4"));
  EXPECT_EQ(SessionFailure(GetParam().problems), log.problems());
}

INSTANTIATE_TEST_SUITE_P(
    Calls, RefusingWriterTest,
    ::testing::Values(
        RefusingWriterCase{"IconAttributes",
                           "attributes 640x360",
                           {"ERROR failed in mp4_sink_writer_->SetNewInputVideoAttributes"}},
        RefusingWriterCase{"IconFrame",
                           "video 10000 icon0",
                           {"ERROR failed in mp4_sink_writer_->PushVideoSample",
                            "ERROR failed in PushVideoData", "ERROR failed in PushIconOnlyFrames"}},
        RefusingWriterCase{"LastIconFrame",
                           "video 80000 icon7",
                           {"ERROR failed in mp4_sink_writer_->PushVideoSample",
                            "ERROR failed in PushVideoData", "ERROR failed in PushIconOnlyFrames"}},
        RefusingWriterCase{"CameraAttributes",
                           "attributes 320x240",
                           {"ERROR failed in mp4_sink_writer_->SetNewInputVideoAttributes"}},
        RefusingWriterCase{
            "CameraFrame",
            "video 100000 key",
            {"ERROR failed in mp4_sink_writer_->PushVideoSample", "ERROR failed in PushVideoData"}},
        RefusingWriterCase{
            "AudioFrame", "audio 21333", {"ERROR failed in mp4_sink_writer_->PushAudioSample"}},
        RefusingWriterCase{
            "IconFrameInAGap",
            "video 618657 icon0",
            {"WARNING too long for next video frame, insert icon only frames.",
             "ERROR failed in mp4_sink_writer_->PushVideoSample", "ERROR failed in PushVideoData",
             "ERROR failed in PushIconOnlyFrames"}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(ReplayTest, RefusedAttributesAfterTheFillerEndTheReplay) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 320, 240).Audio(0, "a").Key(1).Stop(2);
  writer.on_call = [&](const std::string& call) {
    if (call.find("icon7") != std::string::npos) writer.fail_at = "attributes 320x240";
  };
  EXPECT_THAT(Replay(), ElementsAre("error 4"));
  EXPECT_THAT(log.problems(),
              ElementsAre("WARNING too long for next video frame, insert icon only frames.",
                          "ERROR failed in mp4_sink_writer_->SetNewInputVideoAttributes",
                          "ERROR failed in ProcessMediaSession"));
}

TEST_F(ReplayTest, PushesFramesOfAnySizeAsTheyAre) {
  constexpr size_t kBlock = kx_utility::SequentialReader::kBlockSize;
  record.Start(0).Channel(0, 0);
  std::vector<std::string> frames;
  for (const size_t size : {size_t{1}, kBlock - 1, size_t{0}, kBlock, kBlock + 1, size_t{7},
                            3 * kBlock, 2 * kBlock, size_t{2}}) {
    std::string frame(size, ' ');
    for (size_t i = 0; i < size; ++i) frame[i] = static_cast<char>('0' + (i + size) % 71);
    frames.push_back(frame);
    record.Audio(static_cast<int64_t>(frames.size()) * kFrame, frame);
  }
  record.Stop(1000000);
  EXPECT_THAT(Replay(), ElementsAre("completed"));
  std::vector<std::string> pushed;
  for (const std::string& sample : writer.samples()) {
    if (sample.rfind("audio ", 0) == 0) pushed.push_back(sample.substr(sample.find(' ', 6) + 1));
  }
  EXPECT_EQ(frames, pushed);
  EXPECT_THAT(log.problems(), IsEmpty());
}

// Counts of system calls do not depend on the machine.
TEST_F(ReplayTest, ReadsManyFramesWithFewSystemCalls) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360);
  for (int i = 0; i < 3000; ++i) record.Key(i * kFrame).Audio(i * kFrame);
  record.Stop(3000 * kFrame);
  record.Write();
  EXPECT_LE(CountReadCalls([&] { EXPECT_THAT(ReplayWritten(), ElementsAre("completed")); }), 100u);
}

TEST_F(ReplayTest, PipeInPlaceOfADataFileHasNoPosition) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Stop(1);
  record.Write();
  std::filesystem::remove(dir.File("SpeakeRecord.264"));
  ASSERT_EQ(0, mkfifo(dir.File("SpeakeRecord.264").c_str(), 0600));
  EXPECT_THAT(ReplayWritten(), ElementsAre("error 4"));
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR failed in video_file_.CurrentPosition",
                          "ERROR failed in PushVideoData", "ERROR failed in ProcessMediaSession"));
}

TEST_F(ReplayTest, EndlessDeviceInPlaceOfADataFileIsAShortRead) {
  record.Start(0).Channel(0, kCamera).DataRecord(0xEEDDCC06, 0, 0, 0xFFFFFFFF).Stop(1);
  record.Write();
  std::filesystem::remove(dir.File("SpeakeRecord.264"));
  std::filesystem::create_symlink("/dev/zero", dir.File("SpeakeRecord.264"));
  EXPECT_THAT(ReplayWritten(), ElementsAre("error 4"));
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR failed in video_file_.Read", "ERROR failed in PushVideoData",
                          "ERROR failed in ProcessMediaSession"));
}

TEST_F(ReplayTest, StopEndsTheReplayAtTheNextRecordWithoutACallback) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Delta(20000).Stop(30000);
  record.Start(40000).Stop(50000);
  record.Write();
  writer.on_call = [&](const std::string& call) {
    if (call == "video 10000 key") transcoder.Stop();
  };
  FakeTranscoderObserver observer;
  ASSERT_TRUE(transcoder.StartTranscoding(dir.path().c_str(), "out.mp4", &observer, &factory));
  transcoder.StopTranscoding();
  // Joined now. Either the stop of this thread came first, or that of the writer's callback.
  for (const std::string& sample : writer.samples()) EXPECT_NE("video 20000 delta", sample);
  EXPECT_THAT(observer.events(), IsEmpty());
}

TEST_F(ReplayTest, ReportsProgressAtMostOnceASecond) {
  record.Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Delta(20000);
  record.Delta(40000).Stop(30000);
  // The first frame takes longer than the interval, the others do not.
  writer.on_call = [](const std::string& call) {
    if (call == "video 10000 key") usleep(1050 * 1000);
  };
  EXPECT_THAT(Replay(), ElementsAre("progress 55 76", "completed"));
  EXPECT_THAT(log.lines(), Contains("INFO Progress = 55, current_position = 76"));
}

}  // namespace
}  // namespace kxrtc
