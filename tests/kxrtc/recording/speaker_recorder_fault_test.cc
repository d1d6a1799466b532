// What the recorder does when its files or its mixer fail.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/event.h"
#include "kxrtc/recording/speaker_record_writer.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/recorded_conference.h"
#include "tests/testing/size_limited_recording.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpRecord;
using ::kx_testing::IsSubsequence;
using ::kx_testing::kDeadlineMs;
using ::kx_testing::RecordedConference;
using ::kx_testing::RecordUnderSizeLimit;
using ::kx_testing::RunWithFailingSeeks;
using ::kx_testing::ScopedFileSizeLimit;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::testing::Contains;
using ::testing::ElementsAre;

using Lines = std::vector<std::string>;

constexpr int kQueueCapacity = 4096;
const VideoChannelInfo kAnn = {11, 1, 2};

class RecorderFaultTest : public ::testing::Test {
 protected:
  // Nothing fits into this file.
  void FillUp(const std::string& extension) {
    ASSERT_EQ(0, symlink("/dev/full", conference_.dir.File("SpeakeRecord" + extension).c_str()));
  }
  // This file has no positions.
  void MakePipe(const std::string& extension) {
    ASSERT_EQ(0, mkfifo(conference_.dir.File("SpeakeRecord" + extension).c_str(), 0600));
  }

  void InitializeAndStart() {
    ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
    conference_.StartAndDrain();
    conference_.MapRemote({kAnn});
    log_.Clear();
  }

  RecordedConference conference_;
  SpeakerRecorder& recorder_ = conference_.recorder;
  ScopedLogCapture log_;
};

TEST_F(RecorderFaultTest, StopsWhenTheVideoFileIsFull) {
  FillUp(".264");
  InitializeAndStart();
  conference_.Key(11, "key");
  EXPECT_TRUE(log_.WaitFor("INFO stop recording..."));
  recorder_.Finalize();
  EXPECT_THAT(log_.problems(),
              ElementsAre("WARNING failed in file->Write, wrote_size = 0target size = 3",
                          "ERROR failed in WriteToFile", "ERROR failed in WriteVideoFrame",
                          "ERROR failed in ProcessVideoFrame"));
  EXPECT_THAT(conference_.mixer.calls(),
              ElementsAre("create", "start 2 3", "format", "start 2 3", "stop", "stop", "release"));
}

TEST_F(RecorderFaultTest, StopsWhenTheAudioFileIsFull) {
  FillUp(".aac");
  InitializeAndStart();
  conference_.Audio("audio");
  EXPECT_TRUE(log_.WaitFor("INFO stop recording..."));
  recorder_.Finalize();
  EXPECT_THAT(log_.problems(),
              ElementsAre("WARNING failed in file->Write, wrote_size = 0target size = 5",
                          "ERROR failed in WriteToFile", "ERROR failed in ProcessAudioFrame"));
}

TEST_F(RecorderFaultTest, DoesNotStartWhenTheIndexIsFull) {
  FillUp(".index");
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  recorder_.StartRecording();
  EXPECT_TRUE(log_.WaitFor("ERROR already stop"));
  recorder_.Finalize();
  EXPECT_THAT(log_.problems(),
              ElementsAre("WARNING failed in index_file_.Write, wrote_size = 0target size = 12",
                          "ERROR failed in WriteToIndexFile",
                          "ERROR failed in WriteStartStreamingRecord", "ERROR already stop"));
  EXPECT_THAT(conference_.mixer.calls(),
              ElementsAre("create", "start 2 3", "format", "stop", "release"));
}

TEST_F(RecorderFaultTest, RecordsOnWithoutADescriptor) {
  FillUp(".desc");
  InitializeAndStart();
  conference_.Audio("a");
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_THAT(log_.problems(),
              ElementsAre("ERROR failed to write data", "ERROR failed to write data"));
  EXPECT_THAT(log_.lines(), Contains("INFO stop recording..."));
  EXPECT_THAT(DumpRecord(conference_.dir.path()), ElementsAre("start", "audio a", "stop"));
}

struct PipeCase {
  const char* name;
  const char* extension;
  Lines problems;
};

class RecorderPipeTest : public RecorderFaultTest,
                         public ::testing::WithParamInterface<PipeCase> {};

TEST_P(RecorderPipeTest, TellsThatAFileHasNoPosition) {
  MakePipe(GetParam().extension);
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  conference_.MapRemote({kAnn});
  recorder_.StartRecording();
  if (GetParam().extension != std::string(".index")) {
    ASSERT_TRUE(log_.WaitFor("INFO start recording..."));
    conference_.Drain();
    conference_.Key(11, "key");
    conference_.Audio("audio");
    conference_.Drain();
  }
  recorder_.Finalize();
  EXPECT_EQ(GetParam().problems, log_.problems());
}

INSTANTIATE_TEST_SUITE_P(
    Files, RecorderPipeTest,
    ::testing::Values(
        PipeCase{"Video",
                 ".264",
                 {"ERROR failed in CurrentPosition for video file",
                  "ERROR failed in WriteVideoFrame", "ERROR failed in ProcessVideoFrame"}},
        PipeCase{"Audio",
                 ".aac",
                 {"ERROR failed in CurrentPosition for audio file",
                  "ERROR failed in ProcessAudioFrame"}},
        PipeCase{"Index",
                 ".index",
                 {"ERROR failed in CurrentPosition", "ERROR failed in WriteToIndexFile",
                  "ERROR failed in WriteStartStreamingRecord"}}),
    [](const auto& param_info) { return param_info.param.name; });

struct IndexFullCase {
  const char* name;
  uint64_t index_limit;  // Room for so many bytes; the session's start has 12.
  Lines problems;
};

class RecorderIndexFullTest : public RecorderFaultTest,
                              public ::testing::WithParamInterface<IndexFullCase> {};

TEST_P(RecorderIndexFullTest, TellsEachLevelOfTheFailure) {
  FillUp(".desc");  // Whose failures are left out below.
  InitializeAndStart();
  {
    const ScopedFileSizeLimit limit(GetParam().index_limit);
    conference_.Key(11, "k");
    conference_.Drain();
    recorder_.Finalize();
  }
  Lines problems = log_.problems();
  problems.erase(std::remove(problems.begin(), problems.end(), "ERROR failed to write data"),
                 problems.end());
  EXPECT_EQ(GetParam().problems,
            Lines(problems.begin(),
                  problems.begin() + std::min(problems.size(), GetParam().problems.size())));
}

INSTANTIATE_TEST_SUITE_P(
    Records, RecorderIndexFullTest,
    ::testing::Values(
        IndexFullCase{"Switch",
                      12 + 15,
                      {"WARNING failed in index_file_.Write, wrote_size = 15target size = 16",
                       "ERROR failed in WriteToIndexFile", "ERROR failed in SwitchChannel",
                       "ERROR failed in DeterminNextChannel", "ERROR failed in ProcessVideoFrame"}},
        IndexFullCase{
            "Attributes",
            12 + 16 + 1,
            {"WARNING failed in index_file_.Write, wrote_size = 1target size = 24",
             "ERROR failed in WriteToIndexFile", "ERROR failed in WriteNewVideoAttributesRecord",
             "ERROR failed in WriteVideoFrame", "ERROR failed in ProcessVideoFrame"}},
        IndexFullCase{"Video",
                      12 + 16 + 24 + 12,
                      {"WARNING failed in index_file_.Write, wrote_size = 12target size = 24",
                       "ERROR failed in WriteToIndexFile", "ERROR failed in WriteVideoFrame",
                       "ERROR failed in ProcessVideoFrame"}},
        IndexFullCase{"Everything", 1000, {}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(RecorderFaultTest, DoesNotStopWhenAShortWriteCannotBeUndone) {
  const bool run = RunWithFailingSeeks([this] {
    InitializeAndStart();
    conference_.Audio("first");
    conference_.Key(11, "first");
    conference_.Drain();
    log_.Clear();
    {
      const ScopedFileSizeLimit limit(7);  // Two of five more bytes.
      conference_.Audio("12345");
      conference_.Drain();
    }
    {
      const ScopedFileSizeLimit limit(80);  // Of the index: start, channel, attributes, video.
      conference_.Audio("6");
      conference_.Drain();
    }
    recorder_.Finalize();
  });
  if (!run) GTEST_SKIP() << "this system has no seccomp filters";
  EXPECT_THAT(log_.lines(),
              ElementsAre("WARNING failed in file->Write, wrote_size = 2target size = 5",
                          "ERROR failed in index_file_.Seek", "ERROR failed in WriteToFile",
                          "ERROR failed in ProcessAudioFrame", "INFO new source = 3",
                          "WARNING failed in index_file_.Write, wrote_size = 0target size = 24",
                          "ERROR failed in index_file_.Seek", "ERROR failed in WriteToIndexFile",
                          "ERROR failed in ProcessAudioFrame", "INFO new source = 3"));
}

TEST_F(RecorderFaultTest, StopsWhenAStalledDiskFailsBehindAFullQueue) {
  FillUp(".264");
  InitializeAndStart();
  kx_utility::Event stalled(true, false);
  kx_utility::Event released(true, false);
  conference_.mixer.on_start = [&] {
    stalled.Set();
    EXPECT_TRUE(released.Wait(kDeadlineMs));
  };
  recorder_.MuteLocalMicrophone(true);
  ASSERT_TRUE(stalled.Wait(kDeadlineMs));
  for (int i = 0; i < kQueueCapacity; ++i) EXPECT_TRUE(conference_.Key(11, "key"));
  // These are set aside, or wait for room once the mixer has returned.
  std::thread host([this] {
    for (int i = 0; i < kQueueCapacity; ++i) EXPECT_TRUE(conference_.Key(11, "key"));
  });
  released.Set();
  host.join();
  EXPECT_TRUE(log_.WaitFor("INFO stop recording..."));
  recorder_.Finalize();
  const Lines problems = log_.problems();
  const auto failed =
      std::count(problems.begin(), problems.end(), "ERROR failed in WriteVideoFrame");
  EXPECT_GE(failed, kQueueCapacity);
  EXPECT_THAT(conference_.mixer.calls(), ElementsAre("create", "start 2 3", "format", "start 2 3",
                                                     "start 2 2", "stop", "stop", "release"));
}

// Sizes of the frames, so that each file in turn is the longest and meets the limit first.
struct SweepCase {
  const char* name;
  size_t video_size;
  size_t audio_size;
  int audio_count;
};

class RecordSizeLimitTest : public ::testing::TestWithParam<SweepCase> {
 protected:
  // Writes a short recording and goes on after failures, as queued frames do. The former files go
  // first: new ones are much cheaper than truncated ones, which some file systems flush.
  void Record(SpeakerRecordWriter* writer) {
    for (const char* extension : kExtensions) kx_utility::File::Remove(Path(extension));
    (void)writer->CreateRecordFile(dir_.path());
    (void)writer->CreateDescriptor(dir_.path());
    int64_t time = 1000;
    bool recording = writer->WriteStartStreamingRecord(++time);
    if (recording)
      recording = writer->SwitchChannel(kAnn, SelectionReason::kNobodyRecorded, ++time);
    for (int i = 0; i < GetParam().audio_count; ++i) {
      RecvAudioFrame audio;
      audio.timestamp_us = ++time;
      Fill(&audio.data, static_cast<char>('a' + i), GetParam().audio_size);
      (void)writer->WriteAudioFrame(audio);
      if (i % 4 != 0 || !recording) continue;
      RecvEncodedVideoFrame video;
      video.timestamp_us = ++time;
      video.attributes = {0, 640, 360};
      Fill(&video.data, static_cast<char>('A' + i), GetParam().video_size);
      (void)writer->WriteVideoFrame(video);
    }
    (void)writer->WriteStopStreamingRecord(++time);
    writer->Finalize();
  }

  static void Fill(kx_utility::RawBuffer* buffer, char byte, size_t size) {
    const std::string bytes(size, byte);
    EXPECT_TRUE(buffer->SetData(reinterpret_cast<const uint8_t*>(bytes.data()),
                                static_cast<uint32_t>(size)));
  }

  size_t LongestFile() const {
    size_t longest = 0;
    for (const char* extension : kExtensions) {
      longest = std::max(longest, kx_testing::ReadFile(Path(extension)).size());
    }
    return longest;
  }

  std::string Path(const char* extension) const {
    return dir_.File(std::string("SpeakeRecord") + extension);
  }

  static constexpr const char* kExtensions[] = {".264", ".aac", ".index", ".desc"};

  TempDir dir_;
};

TEST_P(RecordSizeLimitTest, KeepsWholeRecordsWhereverTheDiskEnds) {
  int short_writes = 0;
  SpeakerRecordWriter writer([&] { ++short_writes; });
  Record(&writer);
  ASSERT_EQ(0, short_writes);
  const Lines whole = DumpRecord(dir_.path());
  const size_t longest = LongestFile();
  for (size_t limit = 0; limit <= longest; ++limit) {
    SCOPED_TRACE(limit);
    ScopedLogCapture log;
    short_writes = 0;
    {
      const ScopedFileSizeLimit size_limit(limit);
      Record(&writer);
    }
    Lines lines = DumpRecord(dir_.path());
    if (!lines.empty() && lines.back().rfind("rest of ", 0) == 0) lines.pop_back();
    ASSERT_TRUE(IsSubsequence(lines, whole)) << testing::PrintToString(lines);
    const Lines problems = log.problems();
    ASSERT_EQ(short_writes, std::count_if(problems.begin(), problems.end(), [](const auto& line) {
                return line.rfind("WARNING ", 0) == 0;
              }));
    if (limit < longest) {
      ASSERT_FALSE(problems.empty());
    } else {
      ASSERT_EQ(whole, lines);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(LongestFile, RecordSizeLimitTest,
                         ::testing::Values(SweepCase{"Video", 250, 10, 9},
                                           SweepCase{"Audio", 10, 90, 9},
                                           SweepCase{"Index", 1, 1, 30},
                                           SweepCase{"Descriptor", 1, 1, 2}),
                         [](const auto& param_info) { return param_info.param.name; });

// The same with the task thread and its stops; one limit in each record and at each border.
TEST(RecorderSizeLimitTest, StopsAndFinalizesWhereverTheDiskEnds) {
  for (const uint64_t limit : {0, 1, 12, 13, 27, 28, 40, 52, 64, 76, 100, 107, 200, 420, 5000}) {
    RecordUnderSizeLimit(limit);
  }
}

}  // namespace
}  // namespace kxrtc
