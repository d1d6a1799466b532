#include "host/conference/sound_track.h"

#include <gmock/gmock.h>

#include <vector>

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;

// `samples` samples of both channels with the value of their index.
std::vector<float> Ramp(int64_t first, size_t samples) {
  std::vector<float> ramp;
  for (size_t i = 0; i < samples; ++i) {
    ramp.insert(ramp.end(), kAudioChannels, static_cast<float>(first) + static_cast<float>(i));
  }
  return ramp;
}

std::vector<float> ReadLeft(const SoundTrack& track, int64_t first, size_t samples, size_t* there) {
  std::vector<float> both(samples * kAudioChannels, -1);
  *there = track.Read(first, both.data(), samples);
  std::vector<float> left;
  for (size_t i = 0; i < samples; ++i) left.push_back(both[i * kAudioChannels]);
  return left;
}

TEST(SoundTrackTest, IsSilentWhereThereIsNoSound) {
  SoundTrack track;
  size_t there = 1;
  EXPECT_THAT(ReadLeft(track, 100, 3, &there), ElementsAre(0, 0, 0));
  EXPECT_EQ(there, 0u);
  track.Write(10, Ramp(10, 2).data(), 2);
  EXPECT_THAT(ReadLeft(track, 8, 6, &there), ElementsAre(0, 0, 10, 11, 0, 0));
  EXPECT_EQ(there, 2u);
}

TEST(SoundTrackTest, FillsAGapWithSilence) {
  SoundTrack track;
  size_t there = 0;
  track.Write(10, Ramp(10, 2).data(), 2);
  track.Write(14, Ramp(14, 1).data(), 1);
  EXPECT_THAT(ReadLeft(track, 10, 5, &there), ElementsAre(10, 11, 0, 0, 14));
  EXPECT_EQ(there, 5u);
}

TEST(SoundTrackTest, LeavesOutWhatOverlaps) {
  SoundTrack track;
  size_t there = 0;
  track.Write(10, Ramp(10, 3).data(), 3);
  track.Write(11, Ramp(50, 3).data(), 3);
  track.Write(10, Ramp(90, 2).data(), 2);
  EXPECT_THAT(ReadLeft(track, 10, 4, &there), ElementsAre(10, 11, 12, 52));
}

TEST(SoundTrackTest, KeepsTheNewestWhenItIsFull) {
  SoundTrack track;
  const auto capacity = static_cast<size_t>(SoundTrack::kCapacitySamples);
  track.Write(0, Ramp(0, capacity).data(), capacity);
  track.Write(SoundTrack::kCapacitySamples, Ramp(7, 2).data(), 2);
  size_t there = 0;
  EXPECT_THAT(ReadLeft(track, 1, 2, &there), ElementsAre(0, 2));
  EXPECT_EQ(there, 1u);
  EXPECT_THAT(ReadLeft(track, SoundTrack::kCapacitySamples - 1, 4, &there),
              ElementsAre(static_cast<float>(capacity - 1), 7, 8, 0));
}

TEST(SoundTrackTest, ReadsAcrossTheEndOfItsRing) {
  SoundTrack track;
  const int64_t first = 3 * SoundTrack::kCapacitySamples - 2;
  track.Write(first, Ramp(1, 4).data(), 4);
  size_t there = 0;
  EXPECT_THAT(ReadLeft(track, first, 4, &there), ElementsAre(1, 2, 3, 4));
}

TEST(SoundTrackTest, TakesMoreThanItHolds) {
  SoundTrack track;
  const auto size = static_cast<size_t>(SoundTrack::kCapacitySamples) + 3;
  track.Write(5, Ramp(0, size).data(), size);
  size_t there = 0;
  EXPECT_THAT(ReadLeft(track, 5 + 2, 2, &there), ElementsAre(0, 3));
}

TEST(SoundTrackTest, BeginsAnywhereAfterClear) {
  SoundTrack track;
  track.Write(1000, Ramp(1, 1).data(), 1);
  track.Clear();
  track.Write(10, Ramp(10, 1).data(), 1);
  size_t there = 0;
  EXPECT_THAT(ReadLeft(track, 10, 1, &there), ElementsAre(10));
}

TEST(SoundTrackTest, StaysRightAfterALongSilence) {
  SoundTrack track;
  track.Write(0, Ramp(5, 2).data(), 2);
  const int64_t later = 100 * SoundTrack::kCapacitySamples;
  track.Write(later, Ramp(8, 2).data(), 2);
  size_t there = 0;
  EXPECT_THAT(ReadLeft(track, later - 1, 3, &there), ElementsAre(0, 8, 9));
}

}  // namespace
}  // namespace kxrtc_host
