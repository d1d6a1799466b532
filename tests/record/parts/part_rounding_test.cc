#include "record/parts/part_rounding.h"

#include <gtest/gtest.h>

#include "record/parts/kept_parts.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

int64_t TickUs(int64_t tick) { return ScaleTime(tick, 1000000, 24); }

PartRequest Cut(int64_t from_us, int64_t to_us) {
  PartRequest request;
  request.cuts = {{from_us, to_us}};
  return request;
}

TEST(AtTicksTest, MovesStartAndEndToTheNearestTick) {
  for (int64_t tick = 0; tick < 200; ++tick) {
    for (const int64_t off_us : {-20833, -1, 0, 1, 20832}) {
      PartRequest request;
      request.from_us = std::max<int64_t>(TickUs(tick) + off_us, 0);
      request.to_us = TickUs(tick + 1) + off_us;
      const PartRequest at_ticks = AtTicks(request, 24);
      EXPECT_EQ(at_ticks.from_us, TickUs(tick)) << tick << " " << off_us;
      EXPECT_EQ(at_ticks.to_us, TickUs(tick + 1)) << tick << " " << off_us;
    }
  }
}

TEST(AtTicksTest, MakesCutsLargerOnly) {
  for (int64_t tick = 1; tick < 200; ++tick) {
    for (const int64_t inside_us : {0, 1, 20000}) {
      const PartRequest at_ticks =
          AtTicks(Cut(TickUs(tick) + inside_us, TickUs(tick + 2) - inside_us), 24);
      EXPECT_EQ(at_ticks.cuts[0].from_us, TickUs(tick)) << inside_us;
      EXPECT_EQ(at_ticks.cuts[0].to_us, TickUs(tick + 2)) << inside_us;
    }
  }
}

TEST(AtTicksTest, LeavesWhatHasNoEnd) {
  EXPECT_TRUE(AtTicks(PartRequest(), 24).IsWhole());
  EXPECT_EQ(AtTicks(Cut(TickUs(3), kNoPartEnd), 24).cuts[0].to_us, kNoPartEnd);
}

// 64000/3 us each.
TEST(AtWholeAudioFramesTest, MakesACutAsLongAsFrames) {
  struct {
    int64_t length_us;
    int64_t rounded_us;
  } const kCuts[] = {{1, 21333},         {21333, 21333},     {21334, 42667},
                     {42667, 42667},     {42668, 64000},     {64000, 64000},
                     {1000000, 1002667}, {8000000, 8000000}, {3600000000, 3600000000}};
  for (const auto& cut : kCuts) {
    const PartRequest rounded = AtWholeAudioFrames(Cut(7, 7 + cut.length_us));
    EXPECT_EQ(rounded.cuts[0].from_us, 7);
    EXPECT_EQ(rounded.cuts[0].to_us, 7 + cut.rounded_us) << cut.length_us;
  }
}

TEST(AtWholeAudioFramesTest, JoinsCutsThatTouchThen) {
  PartRequest request;
  request.cuts = {{30000, 40000}, {10, 10010}, {60000, 60001}};
  const PartRequest rounded = AtWholeAudioFrames(request);
  ASSERT_EQ(rounded.cuts.size(), 3u);
  EXPECT_EQ(rounded.cuts[0].to_us, 21343);
  request.cuts[0].from_us = 21343;
  const PartRequest joined = AtWholeAudioFrames(request);
  ASSERT_EQ(joined.cuts.size(), 2u);
  EXPECT_EQ(joined.cuts[0].from_us, 10);
  EXPECT_EQ(joined.cuts[0].to_us, 42677);
}

TEST(AtWholeAudioFramesTest, LeavesCutsAtTheEnds) {
  PartRequest request = Cut(5, 20);
  request.from_us = 10;
  EXPECT_EQ(AtWholeAudioFrames(request).cuts[0].to_us, 20);
  request = Cut(15, 30);
  request.to_us = 30;
  EXPECT_EQ(AtWholeAudioFrames(request).cuts[0].to_us, 30);
  EXPECT_EQ(AtWholeAudioFrames(Cut(0, 20)).cuts[0].to_us, 20);
  EXPECT_TRUE(AtWholeAudioFrames(PartRequest()).IsWhole());
}

}  // namespace
}  // namespace kxrtc_host
