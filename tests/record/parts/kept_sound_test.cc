#include "record/parts/kept_sound.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "record/parts/part_rounding.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

int64_t FrameUs(int64_t thirds) { return AudioSamplesToMicroseconds(thirds * 1024); }

struct Kept {
  int64_t frame;  // Of the whole MP4.
  KeptSound::Place place;
};

std::vector<Kept> KeptOf(const PartRequest& request, int64_t frames) {
  const KeptParts parts(request);
  KeptSound sound(&parts);
  std::vector<Kept> kept;
  for (int64_t i = 0; i < frames; ++i) {
    if (const auto place = sound.Next(i * 1024)) kept.push_back({i, *place});
  }
  return kept;
}

// "2@-1024 3@0 (1)4@2048": frames, their times, and the silent frames before them.
std::string TextOf(const std::vector<Kept>& kept) {
  std::string text;
  for (const Kept& frame : kept) {
    text += text.empty() ? "" : " ";
    if (frame.place.silent_frames > 0) {
      text += "(" + std::to_string(frame.place.silent_frames) + ")";
    }
    text += std::to_string(frame.frame) + "@" + std::to_string(frame.place.time);
    if (frame.place.duration != 1024) text += "+" + std::to_string(frame.place.duration);
  }
  return text;
}

PartRequest Between(int64_t from_us, int64_t to_us, std::vector<TimeRange> cuts = {}) {
  PartRequest request;
  request.from_us = from_us;
  request.to_us = to_us;
  request.cuts = std::move(cuts);
  return request;
}

TEST(KeptSoundTest, IsAllOfAWholeFile) {
  EXPECT_EQ(TextOf(KeptOf({}, 4)), "0@0 1@1024 2@2048 3@3072");
}

TEST(KeptSoundTest, StartsWithTheFrameBeforeAPart) {
  EXPECT_EQ(TextOf(KeptOf(Between(FrameUs(3), kNoPartEnd), 6)), "2@-1024 3@0 4@1024 5@2048");
  // In the middle of a frame.
  EXPECT_EQ(TextOf(KeptOf(Between(FrameUs(3) + 10000, kNoPartEnd), 6)),
            "2@-1504 3@-480 4@544 5@1568");
}

TEST(KeptSoundTest, EndsWithAPart) {
  EXPECT_EQ(TextOf(KeptOf(Between(0, FrameUs(2)), 6)), "0@0 1@1024");
  EXPECT_EQ(TextOf(KeptOf(Between(0, FrameUs(2) + 10000), 6)), "0@0 1@1024 2@2048+480");
}

// A frame before the cut carries sound of the cut as well.
TEST(KeptSoundTest, HasSilenceAtACut) {
  EXPECT_EQ(TextOf(KeptOf(Between(0, kNoPartEnd, {{FrameUs(3), FrameUs(6)}}), 9)),
            "0@0 1@1024 (1)6@3072 7@4096 8@5120");
  EXPECT_EQ(TextOf(KeptOf(Between(0, kNoPartEnd, {{FrameUs(3) + 10000, FrameUs(6) + 10000}}), 10)),
            "0@0 1@1024 (2)7@4096 8@5120 9@6144");
}

TEST(KeptSoundTest, HasNothingOfACutAtTheStart) {
  EXPECT_EQ(TextOf(KeptOf(Between(0, kNoPartEnd, {{0, FrameUs(3)}}), 6)), "3@0 4@1024 5@2048");
  EXPECT_EQ(TextOf(KeptOf(Between(0, kNoPartEnd, {{0, FrameUs(3) - 10000}}), 6)),
            "3@480 4@1504 5@2528");
  // Nor hidden before its start.
  EXPECT_EQ(TextOf(KeptOf(Between(FrameUs(3), kNoPartEnd, {{FrameUs(2), FrameUs(2) + 1}}), 5)),
            "3@0 4@1024");
}

TEST(KeptSoundTest, IsNothingOutsideOfTheRecord) {
  EXPECT_EQ(TextOf(KeptOf(Between(FrameUs(20), kNoPartEnd), 6)), "");
  EXPECT_EQ(TextOf(KeptOf(Between(5, 5), 6)), "");
}

TEST(KeptSoundTest, FillsNoLongSpaceWithoutSound) {
  const KeptParts parts(Between(0, kNoPartEnd, {{FrameUs(3), FrameUs(6)}}));
  KeptSound sound(&parts);
  ASSERT_TRUE(sound.Next(0));
  const auto place = sound.Next(1000 * 1024);
  ASSERT_TRUE(place);
  EXPECT_EQ(place->time, 997 * 1024);
  EXPECT_EQ(place->silent_frames, 4u);
}

// Any cuts: no frame touches one, none overlaps another, and none is half a frame off.
TEST(KeptSoundTest, StaysInStepBehindManyCuts) {
  for (const bool rounds : {false, true}) {
    for (int64_t step_us : {90001, 123457, 200000, 333333}) {
      PartRequest request = Between(step_us / 7, 20000000);
      for (int64_t at_us = step_us; at_us < 19000000; at_us += 2 * step_us + 1111) {
        request.cuts.push_back({at_us, at_us + step_us});
      }
      if (rounds) request = AtWholeAudioFrames(request);
      const KeptParts parts(request);
      int64_t end = -10000;
      for (const Kept& frame : KeptOf(request, 1000)) {
        const int64_t whole_us = FrameUs(frame.frame);
        ASSERT_GE(frame.place.time, end);
        end = frame.place.time + frame.place.duration;
        if (whole_us < request.from_us) continue;
        ASSERT_FALSE(parts.IsCut({whole_us, FrameUs(frame.frame + 2) - 30})) << frame.frame;
        const int64_t exact_us = parts.FileTime(whole_us);
        const int64_t off_us = AudioSamplesToMicroseconds(frame.place.time) - exact_us;
        ASSERT_LE(std::abs(off_us), rounds ? 500 : 10700) << frame.frame;
      }
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
