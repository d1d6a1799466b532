#include "kxrtc/media/video/h264/zero_pair_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace kxrtc::H264 {
namespace {

constexpr ThirdByte kPatterns[] = {{1, 0xFF}, {3, 0xFF}, {0, 0xFC}, {0, 0xFF}};

size_t PlainSearch(const uint8_t* data, size_t from, size_t end, ThirdByte third) {
  for (size_t i = from; i < end; ++i) {
    if (data[i] == 0 && data[i + 1] == 0 && third.Matches(data[i + 2])) return i;
  }
  return end;
}

// For each pattern and from each of the first positions; the copy has no slack behind it.
void ExpectSameAsPlainSearch(const std::vector<uint8_t>& bytes, size_t starts) {
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  const size_t end = bytes.size() - 2;
  for (const ThirdByte third : kPatterns) {
    for (size_t from = 0; from < starts; ++from) {
      ASSERT_EQ(FindZeroPair(exact.get(), from, end, third),
                from >= end ? end : PlainSearch(exact.get(), from, end, third))
          << "from " << from << " of " << bytes.size() << " for " << int{third.value};
    }
  }
}

TEST(ZeroPairSearchTest, AnEmptyRangeGivesItsEnd) {
  EXPECT_EQ(FindZeroPair(nullptr, 0, 0, kPatterns[0]), 0u);
  EXPECT_EQ(FindZeroPair(nullptr, 7, 5, kPatterns[0]), 5u);
}

TEST(ZeroPairSearchTest, FindsAPatternAtEveryPositionOfEverySizeAroundTheBlocks) {
  for (size_t size = 3; size < 400; size += size < 120 || size > 140 ? 13 : 1) {
    for (const uint8_t filler : {0x00, 0x01, 0x02, 0xFF}) {
      for (const uint8_t third : {0, 1, 2, 3, 4}) {
        for (size_t at = 0; at + 3 <= size; ++at) {
          std::vector<uint8_t> bytes(size, filler);
          bytes[at] = bytes[at + 1] = 0;
          bytes[at + 2] = third;
          ASSERT_NO_FATAL_FAILURE(ExpectSameAsPlainSearch(bytes, 1));
        }
      }
    }
  }
}

TEST(ZeroPairSearchTest, EqualsThePlainSearchOnRandomBytes) {
  std::mt19937 random(3);
  for (int round = 0; round < 400; ++round) {
    std::vector<uint8_t> bytes(3 + random() % 1000);
    const uint32_t range = round % 4 == 0 ? 256 : 2 + round % 30;
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() % range);
    ASSERT_NO_FATAL_FAILURE(ExpectSameAsPlainSearch(bytes, 40));
  }
}

}  // namespace
}  // namespace kxrtc::H264
