#include "record/stream/display_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "record/stream/annex_b.h"
#include "tests/testing/real_media.h"
#include "tests/testing/shell.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::TempDir;
using ::testing::ElementsAre;

std::vector<uint64_t> Taken(DisplayOrder* order) {
  std::vector<uint64_t> pictures;
  for (uint64_t picture = 0; order->Pop(&picture);) pictures.push_back(picture);
  return pictures;
}

PictureOrder At(int64_t count, uint32_t max_waiting) { return {count == 0, count, max_waiting}; }

TEST(DisplayOrderTest, APictureIsKnownOnceNoEarlierOneCanFollow) {
  DisplayOrder order;
  order.Push(At(0, 1));
  EXPECT_THAT(Taken(&order), ElementsAre());
  order.Push(At(8, 1));
  EXPECT_THAT(Taken(&order), ElementsAre(0));
  order.Push(At(4, 1));
  EXPECT_THAT(Taken(&order), ElementsAre(2));
  order.Push(At(6, 1));
  EXPECT_THAT(Taken(&order), ElementsAre(3));
  order.Push(At(0, 1));  // An IDR picture.
  EXPECT_THAT(Taken(&order), ElementsAre(1));
  order.Flush();
  EXPECT_THAT(Taken(&order), ElementsAre(4));
  EXPECT_EQ(order.misplaced(), 0u);
}

TEST(DisplayOrderTest, WithoutReorderingNothingWaits) {
  DisplayOrder order;
  for (int64_t i = 0; i < 100; ++i) {
    order.Push(At(i, 0));
    EXPECT_THAT(Taken(&order), ElementsAre(static_cast<uint64_t>(i)));
  }
  EXPECT_EQ(order.misplaced(), 0u);
}

TEST(DisplayOrderTest, AStreamThatReordersMoreThanItSaysIsLearned) {
  DisplayOrder order;
  std::vector<uint64_t> shown;
  for (const int64_t count : {0, 6, 2, 4, 12, 8, 10, 18, 14, 16}) {
    order.Push(At(count, 0));
    const auto taken = Taken(&order);
    shown.insert(shown.end(), taken.begin(), taken.end());
  }
  order.Flush();
  const auto rest = Taken(&order);
  shown.insert(shown.end(), rest.begin(), rest.end());
  EXPECT_EQ(order.misplaced(), 2u);
  EXPECT_THAT(shown, ElementsAre(0, 1, 2, 3, 5, 6, 4, 8, 9, 7));
}

TEST(DisplayOrderTest, APictureWithoutAnOrderEndsTheWaiting) {
  DisplayOrder order;
  order.Push(At(0, 2));
  order.Push(At(8, 2));
  order.Push(std::nullopt);
  EXPECT_THAT(Taken(&order), ElementsAre(0, 1, 2));
  order.Push(At(2, 2));
  order.Flush();
  EXPECT_THAT(Taken(&order), ElementsAre(3));
  EXPECT_EQ(order.misplaced(), 1u);
}

TEST(DisplayOrderTest, MemoryIsBounded) {
  DisplayOrder order;
  for (int64_t i = 0; i < 1000; ++i) order.Push(PictureOrder{false, i, 1000000});
  EXPECT_EQ(Taken(&order).size(), 1000 - DisplayOrder::kMaxWaiting);
}

// The display order in which ffprobe decodes a stream, as places of the pictures in coded order.
std::vector<uint64_t> OrderByFFprobe(const std::string& stream) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("x.264"), stream);
  std::istringstream lines(
      kx_testing::RunShell("ffprobe -v error -show_entries frame=pkt_pos -of default=nw=1:nk=1 " +
                           dir.File("x.264"))
          .output);
  std::vector<uint64_t> positions;
  for (uint64_t position = 0; lines >> position;) positions.push_back(position);
  std::vector<uint64_t> coded = positions;
  std::sort(coded.begin(), coded.end());
  std::vector<uint64_t> order;
  for (const uint64_t position : positions) {
    order.push_back(
        static_cast<uint64_t>(std::find(coded.begin(), coded.end(), position) - coded.begin()));
  }
  return order;
}

struct StreamCase {
  const char* name;
  const char* options;
};

class DisplayOrderOfX264Test : public ::testing::TestWithParam<StreamCase> {};

TEST_P(DisplayOrderOfX264Test, IsThatOfFFprobe) {
  std::string stream;
  PictureOrderReader reader;
  DisplayOrder order;
  std::vector<NalUnit> units;
  for (const std::string& picture :
       kx_testing::MakeVideoWith(GetParam().name, 120, GetParam().options)) {
    stream += picture;
    SplitAccessUnit(reinterpret_cast<const uint8_t*>(picture.data()),
                    static_cast<uint32_t>(picture.size()), &units);
    order.Push(reader.Read(units));
  }
  order.Flush();
  const std::vector<uint64_t> shown = Taken(&order);
  EXPECT_EQ(shown.size(), 120u);
  EXPECT_EQ(shown, OrderByFFprobe(stream));
  EXPECT_EQ(order.misplaced(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, DisplayOrderOfX264Test,
    ::testing::Values(StreamCase{"Ordered", "bframes=0"}, StreamCase{"OneB", "bframes=1"},
                      StreamCase{"Adaptive", "bframes=5:b-adapt=2"},
                      StreamCase{"Pyramid", "bframes=7:b-adapt=0:b-pyramid=normal"},
                      StreamCase{"StrictPyramid", "bframes=4:b-adapt=0:b-pyramid=strict"},
                      StreamCase{"Sixteen", "bframes=16:b-adapt=0:ref=6"},
                      StreamCase{"OpenGop", "bframes=3:b-adapt=0:open-gop=1:keyint=16"},
                      StreamCase{"Interlaced", "bframes=3:tff=1:keyint=30"},
                      StreamCase{"BottomFirst", "bframes=2:bff=1:b-pyramid=normal"},
                      StreamCase{"Weighted", "bframes=3:weightp=2:weightb=1:ref=8"},
                      StreamCase{"Slices", "bframes=3:slices=4:aud=1"},
                      StreamCase{"ScalingLists",
                                 "bframes=3:cqm=jvt:nal-hrd=vbr:bitrate=300:"
                                 "vbv-maxrate=300:vbv-bufsize=300"}),
    [](const auto& stream) { return std::string(stream.param.name); });

}  // namespace
}  // namespace kxrtc_host
