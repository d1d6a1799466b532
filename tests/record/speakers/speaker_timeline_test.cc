#include "record/speakers/speaker_timeline.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>

#include "tests/testing/temp_dir.h"
#include "tests/testing/timeline_lines.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::TempDir;
using ::kx_testing::TimelineLines;
using ::kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The timeline of these lines and the bytes behind them.
SpeakerTimeline Read(const TimelineLines& lines, int64_t end_us) {
  const TempDir dir;
  lines.Write(dir);
  return ReadSpeakerTimeline(dir.path(), end_us);
}

auto IsPerson(const char* name, int64_t heard_us, int64_t seen_us, uint64_t turns) {
  return ::testing::AllOf(Field(&Person::name, name), Field(&Person::heard_us, heard_us),
                          Field(&Person::seen_us, seen_us), Field(&Person::turns, turns));
}

TEST(SpeakerTimelineTest, CountsWhoIsHeardAndSeen) {
  const SpeakerTimeline timeline = Read(TimelineLines()
                                            .Start(1000)
                                            .Join(1000, 1, "Ada")
                                            .Join(1000, 2, "Ben")
                                            .Voice(2000, 1, true)
                                            .Select(2500, 1, 11)
                                            .Voice(3000, 2, true)
                                            .Voice(4000, 1, false)
                                            .Select(5000, 2, 12)
                                            .Voice(6000, 1, true)
                                            .Stop(7000),
                                        7000);
  EXPECT_TRUE(timeline.exists);
  EXPECT_EQ(timeline.problem, "");
  EXPECT_EQ(timeline.title, "Weekly");
  EXPECT_THAT(timeline.sessions, ElementsAre(Field(&TimelineSession::start_us, 1000)));
  EXPECT_EQ(timeline.damaged_lines, 0u);
  EXPECT_THAT(timeline.people,
              ElementsAre(IsPerson("Ada", 3000, 2500, 2), IsPerson("Ben", 4000, 2000, 1)));
}

TEST(SpeakerTimelineTest, CountsNothingBetweenSessions) {
  const SpeakerTimeline timeline = Read(TimelineLines()
                                            .Start(1000)
                                            .Voice(1000, 1, true)
                                            .Select(1000, 1, 11)
                                            .Stop(2000)
                                            .Voice(5000, 2, true)
                                            .Start(10000)
                                            .Stop(10300),
                                        20000);
  EXPECT_THAT(timeline.people,
              ElementsAre(IsPerson("user 1", 1300, 1300, 1), IsPerson("user 2", 300, 0, 1)));
}

TEST(SpeakerTimelineTest, EndsWithTheRecord) {
  TimelineLines lines;
  lines.Start(0).Voice(100, 1, true).Select(100, 1, 11);
  EXPECT_THAT(Read(lines.Raw("{\"event\":\"sto"), 1100).people,
              ElementsAre(IsPerson("user 1", 1000, 1000, 1)));
  EXPECT_THAT(Read(lines, 50).people, ElementsAre(IsPerson("user 1", 0, 0, 1)));
}

TEST(SpeakerTimelineTest, WhoLeavesIsSilent) {
  EXPECT_THAT(Read(TimelineLines()
                       .Start(0)
                       .Join(0, 1, "Ada")
                       .Voice(100, 1, true)
                       .Leave(300, 1)
                       .Voice(400, 1, false)
                       .Join(500, 1, "Ada L.")
                       .Stop(1000),
                   1000)
                  .people,
              ElementsAre(IsPerson("Ada L.", 200, 0, 1)));
}

TEST(SpeakerTimelineTest, CountsATurnOnceAndNobodyWithoutVideo) {
  EXPECT_THAT(Read(TimelineLines()
                       .Start(0)
                       .Voice(100, 1, true)
                       .Voice(200, 1, true)
                       .Select(200, 1, 0)
                       .Voice(300, 1, false)
                       .Voice(400, 1, false)
                       .Stop(1000),
                   1000)
                  .people,
              ElementsAre(IsPerson("user 1", 200, 0, 1)));
}

TEST(SpeakerTimelineTest, StaysInItsBounds) {
  constexpr int64_t kLatest = std::numeric_limits<int64_t>::max();
  const SpeakerTimeline timeline = Read(
      TimelineLines().Start(-kLatest).Voice(-kLatest, 1, true).Voice(kLatest, 1, false).Stop(5),
      kLatest);
  EXPECT_THAT(timeline.people, ElementsAre(IsPerson("user 1", kLatest, 0, 1)));
  TimelineLines many;
  many.Start(0);
  for (uint32_t user = 1; user <= SpeakerTimeline::kMaxPeople + 10; ++user) {
    many.Voice(user, user, true);
  }
  EXPECT_THAT(Read(many, 100000).people, SizeIs(SpeakerTimeline::kMaxPeople));
}

TEST(SpeakerTimelineTest, CountsDamagedLines) {
  const SpeakerTimeline timeline =
      Read(TimelineLines().Start(0).Raw("x\n\n{}\n{\"event\":\"new\",\"us\":1}\n"), 10);
  EXPECT_EQ(timeline.damaged_lines, 3u);
  EXPECT_THAT(timeline.people, IsEmpty());
}

TEST(SpeakerTimelineTest, IsAbsentOrHasAProblem) {
  const TempDir dir;
  EXPECT_FALSE(ReadSpeakerTimeline(dir.path(), 0).exists);
  WriteFile(dir.File(kSpeakerTimelineFileName), "no timeline\n");
  const SpeakerTimeline timeline = ReadSpeakerTimeline(dir.path(), 0);
  EXPECT_TRUE(timeline.exists);
  EXPECT_EQ(timeline.problem, dir.File(kSpeakerTimelineFileName) + ": is not a speaker timeline");
}

}  // namespace
}  // namespace kxrtc_host
