#include "record/speakers/speaker_timeline_writer.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "record/speakers/timeline_reader.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/recorded_conference.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::ReadFile;
using ::kx_testing::RecordedConference;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Kind = TimelineEntry::Kind;

int64_t SystemNowUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

class SpeakerTimelineWriterTest : public testing::Test {
 protected:
  void Create(const std::string& title = "") {
    std::string error;
    ASSERT_TRUE(writer_.Create(dir_.path(), title, &error)) << error;
  }

  std::string path() const { return dir_.File(kSpeakerTimelineFileName); }

  std::vector<TimelineEntry> Entries() {
    TimelineReader reader;
    EXPECT_TRUE(reader.Open(dir_.path())) << reader.problem();
    std::vector<TimelineEntry> entries;
    for (auto step = reader.Next(); step != TimelineReader::Step::kEnd; step = reader.Next()) {
      EXPECT_EQ(step, TimelineReader::Step::kEntry);
      entries.push_back(reader.entry());
    }
    return entries;
  }

  TempDir dir_;
  SpeakerTimelineWriter writer_{nullptr};
};

auto Is(Kind kind, uint32_t user_id = 0) {
  return AllOf(Field(&TimelineEntry::kind, kind), Field(&TimelineEntry::user_id, user_id));
}

auto Voice(uint32_t user_id, bool on) {
  return AllOf(Is(Kind::kVoice, user_id), Field(&TimelineEntry::on, on));
}

TEST_F(SpeakerTimelineWriterTest, WritesWhatHappensInItsOrder) {
  Create("Weekly");
  EXPECT_TRUE(writer_.Join(1, "Ada"));
  writer_.SetSpeaking({1});
  writer_.OnRecordingStarted(1000);
  EXPECT_TRUE(writer_.Join(2, "Ben"));
  writer_.SetSpeaking({2, 1});
  writer_.SetSpeaking({1, 2});
  writer_.OnChannelSelected({5000, 12, 2, 3, kxrtc::SelectionReason::kDesktopShared});
  writer_.SetSpeaking({});
  writer_.Leave(2);
  writer_.Leave(7);
  writer_.OnRecordingStopped(9000);
  EXPECT_TRUE(writer_.Close());
  EXPECT_THAT(ReadFile(path()), StartsWith("{\"speaker_timeline\":1,\"title\":\"Weekly\"}\n"));
  const std::vector<TimelineEntry> entries = Entries();
  ASSERT_THAT(entries,
              ElementsAre(Is(Kind::kStart), Is(Kind::kJoined, 1), Voice(1, true),
                          Is(Kind::kJoined, 2), Voice(2, true), Is(Kind::kSelected, 2),
                          Voice(1, false), Voice(2, false), Is(Kind::kLeft, 2), Is(Kind::kStop)));
  EXPECT_EQ(entries[0].time_us, 1000);
  EXPECT_EQ(entries[1].name, "Ada");
  EXPECT_EQ(entries[1].time_us, 1000);
  EXPECT_EQ(entries[5].time_us, 5000);
  EXPECT_EQ(entries[5].ssrc, 12u);
  EXPECT_EQ(entries[5].media_type, 3u);
  EXPECT_EQ(entries[9].time_us, 9000);
}

TEST_F(SpeakerTimelineWriterTest, HasTheClockOfTheRecorder) {
  Create();
  // Reports come late, by a different time each.
  const int64_t begin_us = SystemNowUs();
  writer_.OnRecordingStarted(0);
  const auto report = [&](int64_t late_us) {
    kxrtc::WrittenFrame frame;
    frame.timestamp_us = SystemNowUs() - begin_us - late_us;
    writer_.OnFrameWritten(frame);
  };
  report(400000);
  report(0);
  report(300000);
  const int64_t before_us = SystemNowUs() - begin_us;
  EXPECT_TRUE(writer_.Join(1, "Ada"));
  const int64_t after_us = SystemNowUs() - begin_us;
  const std::vector<TimelineEntry> entries = Entries();
  ASSERT_THAT(entries, SizeIs(2));
  constexpr int64_t kToleranceUs = 100000;  // Of a thread that lost its processor.
  EXPECT_GE(entries[1].time_us, before_us - kToleranceUs);
  EXPECT_LE(entries[1].time_us, after_us);
  EXPECT_GE(entries[0].utc_us, begin_us - kToleranceUs);
  EXPECT_LE(entries[0].utc_us, begin_us + kToleranceUs);
}

TEST_F(SpeakerTimelineWriterTest, TellsTheSecondSessionAndKeepsThePeople) {
  Create();
  EXPECT_TRUE(writer_.Join(1, "Ada"));
  writer_.OnRecordingStarted(0);
  writer_.OnRecordingStopped(1000);
  writer_.SetSpeaking({1});
  writer_.OnRecordingStarted(2000);
  EXPECT_THAT(Entries(), ElementsAre(Is(Kind::kStart), Is(Kind::kJoined, 1), Is(Kind::kStop),
                                     Voice(1, true), Is(Kind::kStart)));
}

TEST_F(SpeakerTimelineWriterTest, RefusesWhatIsNoName) {
  Create();
  EXPECT_FALSE(writer_.Join(0, "Ada"));
  EXPECT_FALSE(writer_.Join(1, ""));
  EXPECT_FALSE(writer_.Join(1, "Zo\xEB"));
  EXPECT_FALSE(writer_.Join(1, std::string(257, 'x')));
  EXPECT_TRUE(writer_.Join(1, std::string(256, 'x')));
  writer_.OnRecordingStarted(0);
  EXPECT_THAT(Entries(), ElementsAre(Is(Kind::kStart), Is(Kind::kJoined, 1)));
  std::string error;
  EXPECT_FALSE(SpeakerTimelineWriter(nullptr).Create(dir_.path(), "Zo\xEB", &error));
  EXPECT_EQ(error, path() + ": the title is not UTF-8, or longer than 1024 bytes");
}

TEST_F(SpeakerTimelineWriterTest, ReplacesAFormerFileAndFollowsNoLink) {
  WriteFile(dir_.File("other"), "precious");
  ASSERT_EQ(::symlink(dir_.File("other").c_str(), path().c_str()), 0);
  Create();
  EXPECT_EQ(ReadFile(dir_.File("other")), "precious");
  EXPECT_EQ(ReadFile(path()), "{\"speaker_timeline\":1}\n");
}

TEST_F(SpeakerTimelineWriterTest, SaysWhyTheFileCannotBeCreated) {
  ASSERT_EQ(::mkdir(path().c_str(), 0700), 0);
  std::string error;
  EXPECT_FALSE(writer_.Create(dir_.path(), "", &error));
  EXPECT_EQ(error, path() + ": cannot be created: File exists");
}

TEST_F(SpeakerTimelineWriterTest, AFullDiskEndsItAndNothingElse) {
  const std::string name(200, 'n');
  for (uint64_t limit = 23; limit < 500; limit += 7) {
    RecordedConference recorded;  // For a folder of its own.
    SpeakerTimelineWriter writer(nullptr);
    std::string error;
    ASSERT_TRUE(writer.Create(recorded.dir.path(), "", &error)) << error;
    {
      const kx_testing::ScopedFileSizeLimit disk(limit);
      writer.OnRecordingStarted(0);
      EXPECT_TRUE(writer.Join(1, name));
      EXPECT_TRUE(writer.Join(2, name));
      writer.OnRecordingStopped(5);
    }
    const std::string file = recorded.dir.File(kSpeakerTimelineFileName);
    EXPECT_THAT(writer.error(), StartsWith(file + ": cannot be written: "));
    EXPECT_THAT(writer.error(), HasSubstr("; the names end here"));
    EXPECT_TRUE(writer.Join(3, "later"));
    EXPECT_FALSE(writer.Close());
    EXPECT_LE(ReadFile(file).size(), limit);
    TimelineReader reader;
    ASSERT_TRUE(reader.Open(recorded.dir.path()));
    auto step = reader.Next();
    for (; step == TimelineReader::Step::kEntry; step = reader.Next()) {
    }
    EXPECT_EQ(step, TimelineReader::Step::kEnd) << limit;
  }
}

TEST_F(SpeakerTimelineWriterTest, PassesReportsOnFromAnyThread) {
  struct Next final : kxrtc::SpeakerRecorderListener {
    void OnRecordingStarted(int64_t) override { ++started; }
    void OnRecordingStopped(int64_t) override { ++stopped; }
    void OnChannelSelected(const kxrtc::SelectedChannel&) override { ++selected; }
    void OnAttributesWritten(const kxrtc::WrittenAttributes&) override { ++attributes; }
    void OnFrameWritten(const kxrtc::WrittenFrame&) override { ++frames; }
    void OnWriteFailed(const kxrtc::FailedWrite&) override { ++failures; }
    int started = 0, stopped = 0, selected = 0, attributes = 0, frames = 0, failures = 0;
  } next;
  SpeakerTimelineWriter writer(&next);
  std::string error;
  ASSERT_TRUE(writer.Create(dir_.path(), "", &error)) << error;
  writer.OnRecordingStarted(0);
  std::thread host([&] {
    for (uint32_t i = 1; i <= 200; ++i) {
      EXPECT_TRUE(writer.Join(i, "name"));
      writer.SetSpeaking({i});
    }
  });
  for (int i = 1; i <= 200; ++i) {
    writer.OnFrameWritten({i, 0, 0, kxrtc::RecordFile::kAudio});
    writer.OnChannelSelected({i, 1, 1, 2, kxrtc::SelectionReason::kAnotherSpeaker});
  }
  host.join();
  writer.OnAttributesWritten({});
  writer.OnWriteFailed({});
  writer.OnRecordingStopped(300);
  EXPECT_THAT(Entries(), SizeIs(1 + 200 + 399 + 200 + 1));
  EXPECT_EQ(next.started + next.stopped + next.attributes + next.failures, 4);
  EXPECT_EQ(next.selected, 200);
  EXPECT_EQ(next.frames, 200);
}

TEST_F(SpeakerTimelineWriterTest, TellsTheSelectionsOfARealRecorder) {
  RecordedConference conference;
  std::string error;
  ASSERT_TRUE(writer_.Create(dir_.path(), "", &error)) << error;
  conference.recorder.SetListener(&writer_);
  ASSERT_TRUE(conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr));
  conference.StartAndDrain();
  conference.MapRemote({{11, 1, kxrtc::PeerConnectionConductor::kCamera}});
  EXPECT_TRUE(conference.Key(11, "key"));
  conference.Drain();
  conference.recorder.StopRecording();
  conference.recorder.Finalize();
  EXPECT_THAT(
      Entries(),
      ElementsAre(Is(Kind::kStart), AllOf(Is(Kind::kSelected, 1), Field(&TimelineEntry::ssrc, 11u)),
                  Is(Kind::kStop)));
}

}  // namespace
}  // namespace kxrtc_host
