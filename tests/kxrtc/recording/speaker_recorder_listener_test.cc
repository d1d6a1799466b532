// What the listener is told, compared with the bytes of the same record.
#include "kxrtc/recording/speaker_recorder_listener.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "tests/testing/failing_disk.h"
#include "tests/testing/listener_trace.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpPlaces;
using ::kx_testing::kDeadlineMs;
using ::kx_testing::ListenerTrace;
using ::kx_testing::ReadFile;
using ::kx_testing::RecordedConference;
using ::kx_testing::RunWithFailingSeeks;
using ::kx_testing::ScopedFileSizeLimit;
using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Lines = std::vector<std::string>;

const VideoChannelInfo kAnn = {11, 1, 2};
const VideoChannelInfo kBob = {12, 2, 2};
const VideoChannelInfo kBobsDesktop = {22, 2, 3};

// The lines without their times.
Lines WithoutTimes(Lines lines) {
  for (std::string& line : lines) line.erase(line.find(" @"));
  return lines;
}

class RecorderListenerTest : public ::testing::Test {
 protected:
  void InitializeAndStart() {
    recorder_.SetListener(&trace_);
    ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
    conference_.StartAndDrain();
  }

  Lines Record() const { return DumpPlaces(ReadFile(conference_.dir.File("SpeakeRecord.index"))); }

  ListenerTrace trace_;  // In front of the recorder that borrows it.
  RecordedConference conference_;
  SpeakerRecorder& recorder_ = conference_.recorder;
};

TEST_F(RecorderListenerTest, IsToldEveryRecordOfTheIndexAndWhyEachChannelWasSelected) {
  InitializeAndStart();
  conference_.MapRemote({kAnn, kBob});
  conference_.Key(11, "first picture");
  conference_.Delta(11, "a2");
  conference_.Audio("x1");
  conference_.Voices({{1, false}, {2, true}});
  conference_.Key(12, "another speaker", 90);
  conference_.Delta(12, "turned", 180);
  conference_.Voices({{1, false}, {2, false}, {5, true}});
  conference_.Audio("x2");
  conference_.Voices({{1, false}, {2, false}});
  conference_.Voices({{1, true}});
  conference_.Key(11, "speaks, nobody was");
  conference_.MapRemote({kBob});
  conference_.Audio("");
  conference_.MapRemote({kAnn, kBob});
  conference_.Key(11, "turned on");
  conference_.MapRemote({kAnn, kBobsDesktop});
  conference_.Key(22, "desktop");
  recorder_.StopRecording();
  recorder_.StartRecording();
  recorder_.Finalize();
  EXPECT_EQ(Record(), trace_.records());
  EXPECT_THAT(
      WithoutTimes(trace_.records()),
      ElementsAre("start", "channel 2", "attributes 640x360 r0", "video 0+13", "video 13+2",
                  "audio 0+2", "channel 2", "attributes 640x360 r90", "video 15+15",
                  "attributes 640x360 r180", "video 30+6", "channel 0", "audio 2+2", "channel 0",
                  "channel 2", "attributes 640x360 r0", "video 36+18", "channel 0", "audio 4+0",
                  "channel 2", "attributes 640x360 r0", "video 54+9", "channel 3",
                  "attributes 640x360 r0", "video 63+7", "stop", "start"));
  EXPECT_THAT(trace_.selections(),
              ElementsAre("11 1 2: kNobodyRecorded", "12 2 2: kAnotherSpeaker",
                          "0 5 0: kSpeakerWithoutVideo", "0 0 0: kMicrophoneTurnedOff",
                          "11 1 2: kAnotherSpeaker", "0 1 0: kVideoTurnedOff",
                          "11 1 2: kVideoTurnedOn", "22 2 3: kDesktopShared"));
  EXPECT_THAT(trace_.failures(), IsEmpty());
}

TEST_F(RecorderListenerTest, IsToldTimesAsTheyStandInTheIndex) {
  InitializeAndStart();
  for (int i = 0; i < 200; ++i) conference_.Audio("a");  // Some in one microsecond.
  recorder_.StopRecording();
  recorder_.Finalize();
  EXPECT_EQ(Record(), trace_.records());
  EXPECT_EQ(202U, trace_.records().size());
}

TEST_F(RecorderListenerTest, IsToldOfAStartOnlyOnceFramesAreRecorded) {
  struct Feeder final : SpeakerRecorderListener {
    RecordedConference* conference = nullptr;
    void OnRecordingStarted(int64_t) override { EXPECT_TRUE(conference->Audio("at once")); }
  } feeder;
  feeder.conference = &conference_;
  recorder_.SetListener(&feeder);
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  conference_.StartAndDrain();
  recorder_.Finalize();
  EXPECT_THAT(WithoutTimes(Record()), ElementsAre("start", "audio 0+7"));
}

TEST_F(RecorderListenerTest, IsReplacedByTheNextInitialize) {
  InitializeAndStart();
  ListenerTrace other;
  recorder_.SetListener(&other);
  recorder_.StopRecording();
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  conference_.StartAndDrain();
  recorder_.SetListener(nullptr);
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  conference_.StartAndDrain();
  recorder_.Finalize();
  EXPECT_THAT(WithoutTimes(trace_.records()), ElementsAre("start", "stop"));
  EXPECT_THAT(WithoutTimes(other.records()), ElementsAre("start"));
}

// Refused calls and frames that nobody wants leave nothing to tell.
TEST_F(RecorderListenerTest, IsNotToldOfWhatIsNotWritten) {
  InitializeAndStart();
  recorder_.StartRecording();
  conference_.Key(11, "unknown");
  conference_.Delta(0, "nobody");
  recorder_.StopRecording();
  recorder_.StopRecording();
  conference_.MapRemote({kAnn});
  conference_.Voices({{5, true}});
  recorder_.Finalize();
  EXPECT_THAT(WithoutTimes(trace_.records()), ElementsAre("start", "stop"));
  EXPECT_THAT(trace_.failures(), IsEmpty());
}

struct PipeCase {
  const char* name;
  const char* extension;
  Lines failures;
};

class RecorderListenerPipeTest : public RecorderListenerTest,
                                 public ::testing::WithParamInterface<PipeCase> {};

TEST_P(RecorderListenerPipeTest, IsToldOfAFileWithoutPositions) {
  ASSERT_EQ(0, mkfifo(conference_.dir.File(GetParam().extension).c_str(), 0600));
  ScopedLogCapture log;
  recorder_.SetListener(&trace_);
  ASSERT_TRUE(recorder_.Initialize(conference_.dir.path(), &conference_.mixer, nullptr));
  conference_.MapRemote({kAnn});
  recorder_.StartRecording();
  if (GetParam().extension != std::string("SpeakeRecord.index")) {
    ASSERT_TRUE(log.WaitFor("INFO start recording..."));
    conference_.Drain();
    conference_.Key(11, "key");
    conference_.Audio("audio");
  }
  recorder_.Finalize();
  EXPECT_EQ(GetParam().failures, trace_.failures());
}

INSTANTIATE_TEST_SUITE_P(
    Files, RecorderListenerPipeTest,
    ::testing::Values(PipeCase{"Video", "SpeakeRecord.264", {"video 3, goes on"}},
                      PipeCase{"Audio", "SpeakeRecord.aac", {"audio 5, goes on"}},
                      PipeCase{"Index", "SpeakeRecord.index", {"index 12, goes on"}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST_F(RecorderListenerTest, IsToldThatAShortWriteCannotBeUndone) {
  const bool run = RunWithFailingSeeks([this] {
    InitializeAndStart();
    conference_.Audio("first");
    conference_.Drain();
    const ScopedFileSizeLimit limit(7);  // Two of five more bytes.
    conference_.Audio("12345");
    conference_.Drain();
    recorder_.Finalize();
  });
  if (!run) GTEST_SKIP() << "this system has no seccomp filters";
  EXPECT_THAT(trace_.failures(), ElementsAre("audio 5, goes on"));
}

constexpr uint64_t kStartRecordBytes = 12;

// Sizes of the frames, so that another file is the first one to be full.
struct LimitCase {
  const char* name;
  size_t video_size;
  size_t audio_size;
  uint64_t step;
};

class RecorderListenerLimitTest : public ::testing::TestWithParam<LimitCase> {
 protected:
  // Records with room for `limit` bytes in each file; the lines of the listener, in `*trace`, and
  // of the index must agree. Returns how many records that are.
  static size_t Record(uint64_t limit, ListenerTrace* trace) {
    const ScopedLogCapture log;
    RecordedConference conference;
    {
      const ScopedFileSizeLimit size_limit(limit);
      conference.recorder.SetListener(trace);
      EXPECT_TRUE(
          conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr));
      conference.MapRemote({kAnn});
      if (limit < kStartRecordBytes) {
        conference.recorder.StartRecording();
      } else {
        conference.StartAndDrain();
      }
      conference.Key(11, std::string(GetParam().video_size, 'k'));
      conference.Audio(std::string(GetParam().audio_size, 'a'));
      conference.Delta(11, std::string(GetParam().video_size, 'd'));
      conference.recorder.StopRecording();
      conference.recorder.Finalize();
    }
    const Lines records = DumpPlaces(ReadFile(conference.dir.File("SpeakeRecord.index")));
    EXPECT_EQ(records, trace->records());
    const Lines problems = log.problems();
    EXPECT_EQ(trace->failures().size(),
              static_cast<size_t>(std::count_if(
                  problems.begin(), problems.end(),
                  [](const std::string& line) { return line.rfind("WARNING ", 0) == 0; })));
    return records.size();
  }
};

TEST_P(RecorderListenerLimitTest, IsToldWhatStandsInTheIndexWhereverTheDiskEnds) {
  size_t count = 0;
  for (uint64_t limit = 0;; limit += GetParam().step) {
    SCOPED_TRACE(limit);
    ListenerTrace trace;
    count = Record(limit, &trace);
    const Lines failures = trace.failures();
    ASSERT_FALSE(std::any_of(failures.begin(), failures.end(), [](const std::string& line) {
      return line.find("goes on") != std::string::npos;
    }));
    if (failures.empty()) break;
  }
  EXPECT_EQ(7U, count);  // Start, channel, attributes, video, audio, video, stop.
}

INSTANTIATE_TEST_SUITE_P(Files, RecorderListenerLimitTest,
                         ::testing::Values(LimitCase{"Video", 90, 1, 5},
                                           LimitCase{"Audio", 1, 180, 5},
                                           LimitCase{"Index", 1, 1, 3}),
                         [](const auto& param_info) { return param_info.param.name; });

// Even what the recorder itself would survive.
TEST(RecorderListenerDeathTest, EndsTheProcessWhenItThrows) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  struct Thrower final : SpeakerRecorderListener {
    void OnRecordingStarted(int64_t) override { throw std::bad_alloc(); }
  };
  EXPECT_DEATH(
      {
        Thrower listener;
        RecordedConference conference;
        conference.recorder.SetListener(&listener);
        (void)conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr);
        conference.recorder.StartRecording();
        conference.recorder.Finalize();
      },
      "bad_alloc");
}

}  // namespace
}  // namespace kxrtc
