#include "host/mp4/picture_times.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "record/stream/display_order.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;

TEST(PictureTimesTest, PicturesShownAsTheyAreCodedKeepTheirTimes) {
  PictureTimes times;
  Mp4SampleTimes given;
  times.Add(5);
  times.Show(0);
  EXPECT_FALSE(times.Next(&given));
  times.Add(1005);
  EXPECT_TRUE(times.Next(&given));
  EXPECT_THAT((std::vector<int64_t>{given.decode_time, given.presentation_time, given.duration}),
              ElementsAre(5, 5, 1000));
  EXPECT_FALSE(times.Next(&given));
  EXPECT_EQ(times.first_open_us(), 1005);
}

TEST(PictureTimesTest, BPicturesAreDecodedWhenTheyAreShownAndOthersBefore) {
  PictureTimes times;
  for (const int64_t time_us : {0, 100, 200, 300, 400}) times.Add(time_us);
  for (const uint64_t picture : {0, 2, 3, 1}) times.Show(picture);
  std::vector<int64_t> decode, presentation, durations;
  for (Mp4SampleTimes given; times.Next(&given);) {
    decode.push_back(given.decode_time);
    presentation.push_back(given.presentation_time);
    durations.push_back(given.duration);
  }
  EXPECT_THAT(decode, ElementsAre(0, 50, 100, 200));
  EXPECT_THAT(presentation, ElementsAre(0, 300, 100, 200));
  EXPECT_THAT(durations, ElementsAre(100, 100, 100, 100));
}

// Whatever a stream does: decode times increase, none is behind its picture, and the pictures have
// the recorded times in display order.
TEST(PictureTimesTest, HoldForAnyOrder) {
  for (uint32_t seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    DisplayOrder order;
    PictureTimes times;
    std::vector<int64_t> recorded, shown;
    int64_t now_us = static_cast<int64_t>(random() % 50000);
    int64_t last_decode_us = -1000;
    const auto take = [&] {
      for (uint64_t picture = 0; order.Pop(&picture);) times.Show(picture);
      for (Mp4SampleTimes given; times.Next(&given);) {
        EXPECT_GT(given.decode_time, last_decode_us);
        EXPECT_LE(given.decode_time, given.presentation_time);
        last_decode_us = given.decode_time;
        shown.push_back(given.presentation_time);
      }
    };
    for (int i = 0; i < 100; ++i) {
      PictureOrder picture;
      picture.begins_sequence = random() % 20 == 0;
      picture.count = static_cast<int64_t>(random() % 30);
      picture.max_waiting = random() % 5;
      order.Push(picture);
      times.Add(now_us);
      recorded.push_back(now_us);
      now_us += 10000 + static_cast<int64_t>(random() % 40000);
      take();
    }
    order.Flush();
    times.Add(now_us);
    take();
    std::sort(shown.begin(), shown.end());
    EXPECT_EQ(shown, recorded);
  }
}

}  // namespace
}  // namespace kxrtc_host
