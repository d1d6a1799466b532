#include "kx_utility/raw_buffer.h"

#include <gmock/gmock.h>

#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();

std::vector<uint8_t> Content(const RawBuffer& buffer) {
  return {buffer.data(), buffer.data() + buffer.size()};
}

RawBuffer BufferOf(const std::vector<uint8_t>& bytes) {
  RawBuffer buffer;
  EXPECT_TRUE(buffer.AppendData(bytes.data(), static_cast<uint32_t>(bytes.size())));
  return buffer;
}

// More bytes in use than there are.
RawBuffer InconsistentBuffer() {
  RawBuffer buffer = BufferOf({1, 2, 3});
  buffer.set_size(4);
  return buffer;
}

TEST(RawBufferTest, StartsWithoutStorage) {
  const RawBuffer buffer;
  EXPECT_EQ(nullptr, buffer.data());
  EXPECT_EQ(0u, buffer.size());
  EXPECT_EQ(0u, buffer.capacity());
  EXPECT_TRUE(buffer.IsConsistent());
}

TEST(RawBufferTest, MovesAndIsNeverCopied) {
  static_assert(!std::is_copy_constructible_v<RawBuffer>);
  static_assert(!std::is_copy_assignable_v<RawBuffer>);
  static_assert(std::is_nothrow_move_constructible_v<RawBuffer>);
  static_assert(std::is_nothrow_move_assignable_v<RawBuffer>);
  static_assert(sizeof(RawBuffer) == 2 * sizeof(uint32_t) + sizeof(void*));
}

struct GrowthCase {
  const char* name;
  uint32_t first;
  uint32_t second;
  bool extra_headroom;
  uint32_t capacity;
};

class RawBufferGrowthTest : public ::testing::TestWithParam<GrowthCase> {};

TEST_P(RawBufferGrowthTest, ReservesTheLargerOfRequestAndHeadroom) {
  RawBuffer buffer;
  buffer.EnsureCapacityWithHeadroom(GetParam().first, false);
  EXPECT_EQ(GetParam().first, buffer.capacity());
  buffer.EnsureCapacityWithHeadroom(GetParam().second, GetParam().extra_headroom);
  EXPECT_EQ(GetParam().capacity, buffer.capacity());
  EXPECT_EQ(0u, buffer.size());
}

INSTANTIATE_TEST_SUITE_P(Capacities, RawBufferGrowthTest,
                         ::testing::Values(GrowthCase{"NothingAskedOfNothing", 0, 0, true, 0},
                                           GrowthCase{"LessThanThereIs", 100, 50, true, 100},
                                           GrowthCase{"WhatThereIs", 100, 100, true, 100},
                                           GrowthCase{"ExactWithoutHeadroom", 100, 101, false, 101},
                                           GrowthCase{"HeadroomWins", 100, 101, true, 150},
                                           GrowthCase{"RequestEqualsHeadroom", 100, 150, true, 150},
                                           GrowthCase{"RequestWins", 100, 151, true, 151},
                                           GrowthCase{"OddCapacityIsHalvedDown", 7, 8, true, 10},
                                           GrowthCase{"NoHeadroomOnOne", 1, 2, true, 2},
                                           GrowthCase{"HeadroomOfNothing", 0, 9, true, 9}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(RawBufferTest, KeepsTheContentAndZeroesTheRestWhenItGrows) {
  RawBuffer buffer = BufferOf({1, 2, 3});
  buffer.EnsureCapacityWithHeadroom(64, false);
  EXPECT_THAT(Content(buffer), ElementsAre(1, 2, 3));
  EXPECT_THAT(std::vector<uint8_t>(buffer.data() + 3, buffer.data() + 64), Each(0));
}

TEST(RawBufferTest, AppendsWithHeadroomOverThePresentCapacity) {
  RawBuffer buffer;
  std::vector<uint8_t> bytes(110);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  EXPECT_TRUE(buffer.AppendData(bytes.data(), 100));
  EXPECT_EQ(100u, buffer.capacity());
  EXPECT_TRUE(buffer.AppendData(bytes.data() + 100, 10));
  EXPECT_EQ(150u, buffer.capacity());
  EXPECT_EQ(bytes, Content(buffer));
  EXPECT_THAT(std::vector<uint8_t>(buffer.data() + 110, buffer.data() + 150), Each(0));
}

TEST(RawBufferTest, FillsTheCapacityExactlyWithoutGrowing) {
  RawBuffer buffer;
  buffer.EnsureCapacityWithHeadroom(4, false);
  const uint8_t* const storage = buffer.data();
  const uint8_t bytes[] = {1, 2, 3, 4};
  EXPECT_TRUE(buffer.AppendData(bytes, 2));
  EXPECT_TRUE(buffer.AppendData(bytes + 2, 2));
  EXPECT_TRUE(buffer.SetData(bytes, 4));
  EXPECT_THAT(Content(buffer), ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(4u, buffer.capacity());
  EXPECT_EQ(storage, buffer.data());
}

TEST(RawBufferTest, ReportsABreachOnceWhereTheCapacitySufficesExactly) {
  ScopedLogCapture log;
  RawBuffer buffer;
  buffer.EnsureCapacityWithHeadroom(4, false);
  buffer.set_size(5);
  buffer.EnsureCapacityWithHeadroom(4, false);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR it is not IsConsistent"));
}

TEST(RawBufferTest, AppendsNothingToNothing) {
  ScopedLogCapture log;
  RawBuffer buffer;
  EXPECT_TRUE(buffer.AppendData(nullptr, 0));
  EXPECT_EQ(nullptr, buffer.data());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RawBufferTest, AppendsAndSetsItsOwnBytes) {
  RawBuffer buffer = BufferOf({1, 2, 3});
  EXPECT_TRUE(buffer.AppendData(buffer.data() + 1, 2));
  EXPECT_THAT(Content(buffer), ElementsAre(1, 2, 3, 2, 3));
  EXPECT_TRUE(buffer.SetData(buffer.data() + 2, 3));
  EXPECT_THAT(Content(buffer), ElementsAre(3, 2, 3));
}

TEST(RawBufferTest, ReplacesTheContentAndGrowsWithHeadroom) {
  RawBuffer buffer = BufferOf({1, 2, 3, 4});
  const uint8_t five[] = {5, 6, 7, 8, 9};
  EXPECT_TRUE(buffer.SetData(five, 5));
  EXPECT_THAT(Content(buffer), ElementsAre(5, 6, 7, 8, 9));
  EXPECT_EQ(6u, buffer.capacity());
  EXPECT_TRUE(buffer.SetData(five, 1));
  EXPECT_THAT(Content(buffer), ElementsAre(5));
  EXPECT_EQ(6u, buffer.capacity());
}

TEST(RawBufferTest, RefusesASizeBeyond32Bits) {
  ScopedLogCapture log;
  RawBuffer buffer = BufferOf({1});
  EXPECT_FALSE(buffer.AppendData(buffer.data(), kMax));
  EXPECT_THAT(Content(buffer), ElementsAre(1));
  EXPECT_EQ(1u, buffer.capacity());
  EXPECT_THAT(log.lines(), ElementsAre("ERROR data is too big"));
}

TEST(RawBufferTest, RefusesBytesFromNowhere) {
  ScopedLogCapture log;
  RawBuffer buffer = BufferOf({1});
  EXPECT_FALSE(buffer.AppendData(nullptr, 1));
  EXPECT_THAT(Content(buffer), ElementsAre(1));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR data is null"));
}

TEST(RawBufferTest, RefusesToAppendOrSetWhenInconsistent) {
  ScopedLogCapture log;
  RawBuffer buffer = InconsistentBuffer();
  const uint8_t byte = 9;
  EXPECT_FALSE(buffer.AppendData(&byte, 1));
  EXPECT_FALSE(buffer.SetData(&byte, 1));
  EXPECT_EQ(4u, buffer.size());
  EXPECT_EQ(3u, buffer.capacity());
  EXPECT_THAT(log.lines(), ElementsAre("ERROR !IsConsistent", "ERROR !IsConsistent"));
}

TEST(RawBufferTest, NamesTheOperationThatMetTheBreach) {
  ScopedLogCapture log;
  RawBuffer buffer = InconsistentBuffer();
  EXPECT_FALSE(buffer.SetData(nullptr, 0));
  EXPECT_THAT(log.raw(), ElementsAre(::testing::HasSubstr("[ERROR][SetData]")));
}

TEST(RawBufferTest, GrowingMendsABreachAfterReportingIt) {
  ScopedLogCapture log;
  RawBuffer buffer = InconsistentBuffer();
  buffer.EnsureCapacityWithHeadroom(4, false);
  EXPECT_THAT(Content(buffer), ElementsAre(1, 2, 3, 0));
  EXPECT_THAT(log.lines(), ElementsAre("ERROR it is not IsConsistent"));
}

TEST(RawBufferTest, ReportsABreachThatGrowingDoesNotMend) {
  ScopedLogCapture log;
  RawBuffer buffer = InconsistentBuffer();
  buffer.set_size(100);
  buffer.EnsureCapacityWithHeadroom(2, false);
  EXPECT_EQ(3u, buffer.capacity());
  buffer.EnsureCapacityWithHeadroom(5, false);
  EXPECT_EQ(5u, buffer.capacity());
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR it is not IsConsistent", "ERROR it is not IsConsistent",
                          "ERROR it is not IsConsistent"));
}

TEST(RawBufferTest, GivesStorageToABufferThatClaimedBytesWithoutAny) {
  RawBuffer buffer;
  buffer.set_size(2);
  EXPECT_FALSE(buffer.IsConsistent());
  buffer.EnsureCapacityWithHeadroom(2, true);
  EXPECT_THAT(Content(buffer), ElementsAre(0, 0));
}

TEST(RawBufferTest, MovingTakesTheStorageAndLeavesTheSourceEmpty) {
  RawBuffer source = BufferOf({1, 2});
  const uint8_t* storage = source.data();
  RawBuffer constructed(std::move(source));
  EXPECT_EQ(storage, constructed.data());
  RawBuffer target = BufferOf({3});
  target = std::move(constructed);
  EXPECT_EQ(storage, target.data());
  EXPECT_THAT(Content(target), ElementsAre(1, 2));
  for (const RawBuffer* empty : {&source, &constructed}) {
    EXPECT_EQ(nullptr, empty->data());
    EXPECT_EQ(0u, empty->size());
    EXPECT_EQ(0u, empty->capacity());
  }
}

TEST(RawBufferTest, MovingOntoItselfChangesNothing) {
  RawBuffer buffer = BufferOf({1, 2});
  RawBuffer& same = buffer;
  buffer = std::move(same);
  EXPECT_THAT(Content(buffer), ElementsAre(1, 2));
}

TEST(RawBufferTest, MovesInconsistentBuffersAfterReportingThem) {
  ScopedLogCapture log;
  RawBuffer target = InconsistentBuffer();
  RawBuffer source = InconsistentBuffer();
  log.Clear();
  target = std::move(source);
  EXPECT_EQ(4u, target.size());
  EXPECT_EQ(3u, target.capacity());
  EXPECT_TRUE(source.IsConsistent());
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR it is not IsConsistent", "ERROR buf is not IsConsistent"));
}

}  // namespace
}  // namespace kx_utility
