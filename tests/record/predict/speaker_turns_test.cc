#include "record/predict/speaker_turns.h"

#include <gmock/gmock.h>

#include "record/predict/record_analysis.h"
#include "record/timing/file_timeline.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/timeline_lines.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::TimelineLines;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t kFrame = 21333;

auto IsTurn(int64_t start_us, int64_t end_us, uint32_t user_id, uint32_t media_type = 0) {
  return ::testing::AllOf(::testing::Field(&SpeakerTurn::start_us, start_us),
                          ::testing::Field(&SpeakerTurn::end_us, end_us),
                          ::testing::Field(&SpeakerTurn::user_id, user_id),
                          ::testing::Field(&SpeakerTurn::media_type, media_type));
}

SpeakerTurns Read(const RecordBuilder& record, const TimelineLines& lines, const TempDir& dir) {
  record.Write();
  lines.Write(dir);
  return ReadSpeakerTurns(dir.path());
}

// Adds `count` frames of sound, which come every 20 ms: a recorder's clock that is slow.
int64_t AddSound(RecordBuilder* record, int64_t from_us, int count) {
  for (int i = 0; i < count; ++i) record->Audio(from_us + i * 20000);
  return from_us + count * 20000;
}

TEST(SpeakerTurnsTest, SoundDrivesTheClock) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(1000000).Channel(1000000, kCamera).Attributes(1000001, 640, 360).Key(1000002);
  const int64_t end_us = AddSound(&record, 1020000, 100);
  record.Stop(end_us);
  TimelineLines lines;
  lines.Start(1000000).Join(1000000, 7, "Ada").Select(1000000, 7, 70);
  lines.Voice(1020000 + 10 * 20000 + 500, 7, true).Voice(1020000 + 50 * 20000 + 900, 7, false);
  lines.Stop(end_us);
  const SpeakerTurns turns = Read(record, lines, dir);
  EXPECT_THAT(turns.heard, ElementsAre(IsTurn(11 * kFrame + 500, 51 * kFrame + 900, 7)));
  EXPECT_THAT(turns.seen, ElementsAre(IsTurn(0, 100 * kFrame + 20000, 7, kCamera)));
  EXPECT_EQ(turns.timeline.title, "Weekly");
  ASSERT_EQ(turns.timeline.people.size(), 1u);
  EXPECT_EQ(turns.timeline.people[0].name, "Ada");
  EXPECT_EQ(turns.timeline.people[0].heard_us, 40 * 20000 + 400);
}

TEST(SpeakerTurnsTest, SessionsFollowOneAnother) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(1000000).Channel(1000000, kCamera);
  AddSound(&record, 1000000, 3);
  record.Stop(1040000);
  // The clock started again.
  record.Start(50).Channel(50, kDesktop);
  AddSound(&record, 50, 3);
  record.Stop(40050);
  TimelineLines lines;
  lines.Start(1000000).Select(1000000, 1, 11).Voice(1000000, 1, true).Stop(1040000);
  lines.Voice(9000000, 2, true).Voice(9000100, 1, false);  // In the pause.
  lines.Start(50).Select(50, 2, 12, kDesktop).Stop(40050);
  const SpeakerTurns turns = Read(record, lines, dir);
  EXPECT_THAT(turns.heard,
              ElementsAre(IsTurn(0, 3 * kFrame, 1), IsTurn(3 * kFrame, 6 * kFrame, 2)));
  EXPECT_THAT(turns.seen, ElementsAre(IsTurn(0, 3 * kFrame, 1, kCamera),
                                      IsTurn(3 * kFrame, 6 * kFrame, 2, kDesktop)));
}

TEST(SpeakerTurnsTest, PicturesGiveTheTimeWithoutSound) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(0).Channel(0, kCamera).Attributes(1, 640, 360).Key(100000).Delta(200000);
  record.Stop(200000);
  record.Start(500000).Channel(500000, kCamera).Attributes(500001, 640, 360).Key(500010);
  record.Delta(900000).Stop(900000);
  TimelineLines lines;
  lines.Start(0).Select(0, 1, 11).Stop(200000);
  lines.Start(500000).Select(500000, 2, 12).Voice(700000, 2, true).Stop(900000);
  const SpeakerTurns turns = Read(record, lines, dir);
  // The second session is measured from 0 again, but nothing goes back.
  EXPECT_THAT(turns.seen,
              ElementsAre(IsTurn(0, 200000, 1, kCamera), IsTurn(200000, 400000, 2, kCamera)));
  EXPECT_THAT(turns.heard, ElementsAre(IsTurn(210000, 400000, 2)));
}

TEST(SpeakerTurnsTest, SessionsMayBeMissingOnEitherSide) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(100).Audio(100).Stop(200);
  record.Start(1000).Channel(1000, kCamera).Audio(1000).Audio(1100).Stop(1200);
  TimelineLines lines;
  lines.Start(500).Select(500, 1, 11).Voice(550, 3, true).Voice(560, 3, false).Stop(600);
  lines.Start(1000).Select(1000, 2, 12).Stop(1200);
  lines.Start(3000).Select(3000, 4, 14).Voice(3500, 4, true).Stop(4000);
  const SpeakerTurns turns = Read(record, lines, dir);
  EXPECT_THAT(turns.heard, IsEmpty());
  EXPECT_THAT(turns.seen, ElementsAre(IsTurn(0, kFrame + 100, 0),
                                      IsTurn(kFrame + 100, 3 * kFrame + 100, 2, 2)));
}

TEST(SpeakerTurnsTest, EndsWhereTheReplayEnds) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(0).Audio(0).Audio(20000).RawIndex("garbage").Audio(40000).Audio(60000).Stop(60000);
  TimelineLines lines;
  lines.Start(0)
      .Voice(10000, 1, true)
      .Voice(50000, 2, true)
      .Raw("no entry\n")
      .Raw("{\"event\":\"st");
  const SpeakerTurns turns = Read(record, lines, dir);
  EXPECT_THAT(turns.heard, ElementsAre(IsTurn(kFrame + 10000, 2 * kFrame, 1)));
  EXPECT_EQ(turns.timeline.damaged_lines, 1u);
}

// Filler, dropped pictures and a second session move no turn away from its pictures.
TEST(SpeakerTurnsTest, AgreesWithThePredictedReplay) {
  const TempDir dir;
  RecordBuilder record(dir);
  TimelineLines lines;
  record.Start(1000).Channel(1000, kCamera).Attributes(1001, 640, 360).Key(1002);
  lines.Start(1000).Select(1000, 1, 11);
  int64_t now_us = AddSound(&record, 5000, 300);  // The icon fills the gap.
  record.Delta(now_us).Channel(now_us, kDesktop).Attributes(now_us + 1, 640, 360);
  lines.Select(now_us, 2, 12, kDesktop);
  record.Delta(now_us + 2).Delta(now_us + 3);  // Dropped before their key frame.
  now_us = AddSound(&record, now_us + 10000, 50);
  record.Key(now_us);
  now_us = AddSound(&record, now_us, 20);
  record.Stop(now_us);
  lines.Stop(now_us);
  now_us += 50000000;
  record.Start(now_us).Audio(now_us + 10).Channel(now_us + 5000, 0);
  lines.Start(now_us).Select(now_us + 5000, 0, 0);
  now_us = AddSound(&record, now_us + 20000, 30);
  record.Channel(now_us, kCamera).Attributes(now_us + 1, 640, 360).Key(now_us + 2);
  lines.Select(now_us, 3, 13);
  now_us = AddSound(&record, now_us + 10000, 30);
  record.Stop(now_us);
  lines.Stop(now_us);
  const SpeakerTurns turns = Read(record, lines, dir);
  const ReplayPrediction replay = AnalyseRecord(dir.path()).replay;
  ASSERT_EQ(replay.switches.size(), 4u);
  EXPECT_GT(replay.filler_insertions, 0u);
  EXPECT_EQ(replay.dropped_frames, 3u);
  ASSERT_EQ(turns.seen.size(), replay.switches.size());
  for (size_t i = 0; i < turns.seen.size(); ++i) {
    // The prediction is in the time of the file. What is written there is exact to a tick.
    EXPECT_NEAR(FileTimeOf(turns.seen[i].start_us, 0), replay.switches[i].output_us, 1) << i;
  }
}

TEST(SpeakerTurnsTest, NeedsNoTimeline) {
  const TempDir dir;
  EXPECT_FALSE(ReadSpeakerTurns(dir.path()).timeline.exists);
  TimelineLines().Raw("").Write(dir);
  const SpeakerTurns turns = ReadSpeakerTurns(dir.path());  // And no index.
  EXPECT_TRUE(turns.timeline.exists);
  EXPECT_THAT(turns.seen, IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
