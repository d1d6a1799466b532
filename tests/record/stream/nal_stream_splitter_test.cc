#include "record/stream/nal_stream_splitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {
namespace {

using Bytes = std::vector<uint8_t>;

// Extents and heads of all NAL units of `bytes` that arrive in blocks of `block` bytes.
std::vector<StreamNalUnit> Split(const Bytes& bytes, size_t block) {
  std::vector<StreamNalUnit> units;
  NalStreamSplitter splitter([&units](const StreamNalUnit& unit) {
    units.push_back(unit);
    return true;
  });
  for (size_t at = 0; at < bytes.size(); at += block) {
    EXPECT_TRUE(splitter.Push(bytes.data() + at, std::min(block, bytes.size() - at)));
  }
  EXPECT_TRUE(splitter.Finish());
  return units;
}

void ExpectSameAsInOnePiece(const Bytes& bytes, size_t block) {
  const std::vector<StreamNalUnit> units = Split(bytes, block);
  size_t n = 0;
  for (const kxrtc::H264::NaluIndex& index :
       kxrtc::H264::FindNaluIndices(bytes.data(), static_cast<uint32_t>(bytes.size()))) {
    if (index.payload_size == 0) continue;
    ASSERT_LT(n, units.size());
    EXPECT_EQ(units[n].start_offset, index.start_offset);
    EXPECT_EQ(units[n].header_offset, index.payload_start_offset);
    EXPECT_EQ(units[n].size, index.payload_size);
    const auto header = bytes.begin() + index.payload_start_offset;
    EXPECT_EQ(units[n].head, Bytes(header, header + index.payload_size));
    ++n;
  }
  ASSERT_EQ(n, units.size());
}

TEST(NalStreamSplitterTest, FindsInBlocksWhatIsFoundInOnePiece) {
  std::mt19937 random(4);
  for (int round = 0; round < 300; ++round) {
    Bytes bytes(random() % 60);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() % (round % 2 == 0 ? 2 : 4));
    for (size_t block = 1; block <= 12; ++block) {
      ASSERT_NO_FATAL_FAILURE(ExpectSameAsInOnePiece(bytes, block)) << round << " " << block;
    }
  }
}

TEST(NalStreamSplitterTest, KeepsTheHeadOfALongUnitOnly) {
  Bytes bytes = {0, 0, 1, 0x65};
  bytes.resize(300000, 0x7F);
  bytes.insert(bytes.end(), {0, 0, 0, 1, 0x41, 0x9A});
  const std::vector<StreamNalUnit> units = Split(bytes, 7777);
  ASSERT_EQ(units.size(), 2u);
  EXPECT_EQ(units[0].size, 299997u);
  EXPECT_EQ(units[0].head.size(), StreamNalUnit::kMaxHead);
  EXPECT_FALSE(units[0].IsWhole());
  EXPECT_EQ(units[1].start_offset, 300000u);
  EXPECT_TRUE(units[1].IsWhole());
}

TEST(NalStreamSplitterTest, TheEndOfTheStreamEndsTheLastUnitOnce) {
  int units = 0;
  NalStreamSplitter splitter([&units](const StreamNalUnit&) {
    ++units;
    return true;
  });
  EXPECT_TRUE(splitter.Finish());
  EXPECT_EQ(units, 0);
  const Bytes bytes = {0, 0, 1, 0x41, 0x9A};
  EXPECT_TRUE(splitter.Push(bytes.data(), bytes.size()));
  EXPECT_NE(splitter.open_unit(), nullptr);
  EXPECT_TRUE(splitter.Finish());
  EXPECT_EQ(splitter.open_unit(), nullptr);
  EXPECT_TRUE(splitter.Finish());
  EXPECT_EQ(units, 1);
}

TEST(NalStreamSplitterTest, StopsWhenTheHandlerSaysSo) {
  NalStreamSplitter splitter([](const StreamNalUnit&) { return false; });
  const Bytes bytes = {0, 0, 1, 0x41, 0, 0, 1, 0x41};
  EXPECT_FALSE(splitter.Push(bytes.data(), bytes.size()));
}

}  // namespace
}  // namespace kxrtc_host
