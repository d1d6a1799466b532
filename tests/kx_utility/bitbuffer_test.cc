#include "kx_utility/bitbuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::ToBits;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

Bytes FromBits(const std::string& bits) { return BitString(bits).Bytes(); }

BitBuffer Reader(const Bytes& bytes) {
  return BitBuffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

using Position = std::pair<uint32_t, uint32_t>;
Position PositionOf(BitBuffer* buffer) {
  Position position;
  buffer->GetCurrentOffset(&position.first, &position.second);
  return position;
}

TEST(BitFunctionsTest, LowestBitsMasks) {
  EXPECT_EQ(LowestBits(0xFF, 0), 0);
  EXPECT_EQ(LowestBits(0xAB, 1), 1);
  EXPECT_EQ(LowestBits(0xAB, 4), 0x0B);
  EXPECT_EQ(LowestBits(0xAB, 8), 0xAB);
}

TEST(BitFunctionsTest, HighestBitsShiftsDown) {
  EXPECT_EQ(HighestBits(0xFF, 0), 0);
  EXPECT_EQ(HighestBits(0xAB, 1), 1);
  EXPECT_EQ(HighestBits(0xAB, 4), 0x0A);
  EXPECT_EQ(HighestBits(0xAB, 8), 0xAB);
}

TEST(BitFunctionsTest, HighestByteIsTheTopOne) {
  EXPECT_EQ(HighestByte(0x12FF34FF56FF78FF), 0x12);
  EXPECT_EQ(HighestByte(0x00FFFFFFFFFFFFFF), 0);
}

TEST(BitFunctionsTest, WritePartialByteReplacesBitsBelowTheOffset) {
  EXPECT_EQ(WritePartialByte(0xA0, 3, 0x00, 0), 0xA0);
  EXPECT_EQ(WritePartialByte(0xA0, 3, 0xFF, 2), 0xEF);
  EXPECT_EQ(WritePartialByte(0x00, 3, 0xFF, 5), 0xF8);
  EXPECT_EQ(WritePartialByte(0xC3, 8, 0xFF, 0), 0xC3);
  EXPECT_EQ(WritePartialByte(0x00, 0, 0x5A, 7), 0x5A);
}

TEST(BitFunctionsTest, WritePartialByteShiftsTheSourceWithoutMasking) {
  EXPECT_EQ(WritePartialByte(0xFF, 1, 0x00, 4), 0x0F);
}

TEST(BitFunctionsTest, CountBitsCountsSignificantBits) {
  EXPECT_EQ(CountBits(0), 0u);
  for (uint32_t i = 0; i < 64; ++i) {
    EXPECT_EQ(CountBits(uint64_t{1} << i), i + 1);
    EXPECT_EQ(CountBits((uint64_t{1} << i) | 1), i + 1);
  }
}

TEST(BitFunctionsTest, LogsArgumentsOutOfRangeAndGoesOn) {
  ScopedLogCapture log;
  EXPECT_EQ(LowestBits(0xAB, 9), 0xAB);
  EXPECT_EQ(LowestBits(0xAB, 0x80000000), 0xAB);
  EXPECT_EQ(HighestBits(0xAB, 9), 0xAB);
  EXPECT_EQ(WritePartialByte(0x80, 1, 0x0F, 8), 0x0F);
  EXPECT_EQ(WritePartialByte(0x5A, 9, 0x0F, 0), 0x5A);
  EXPECT_EQ(WritePartialByte(0xF0, 4, 0xAA, 6), 0xAB);
  EXPECT_EQ(WritePartialByte(0, 0xFFFFFFFF, 0xFF, 0xFFFFFFFF), 0xFF);
  EXPECT_THAT(
      log.lines(),
      ElementsAre("ERROR bit_count = 9 is not valid", "ERROR bit_count = -2147483648 is not valid",
                  "ERROR bit_count = 9 is not valid", "ERROR target_bit_offset = 8 is not valid",
                  "ERROR target_bit_offset = 8 & source_bit_count = 1 are not valid",
                  "ERROR source_bit_count = 9 is not valid",
                  "ERROR target_bit_offset = 0 & source_bit_count = 9 are not valid",
                  "ERROR target_bit_offset = 6 & source_bit_count = 4 are not valid",
                  "ERROR target_bit_offset = -1 is not valid",
                  "ERROR source_bit_count = -1 is not valid",
                  "ERROR target_bit_offset = -1 & source_bit_count = -1 are not valid"));
}

TEST(BitFunctionsTest, LogsUnderItsOwnName) {
  ScopedLogCapture log;
  (void)LowestBits(0, 9);
  (void)HighestBits(0, 9);
  (void)WritePartialByte(0, 9, 0, 0);
  const std::vector<std::string> raw = log.raw();
  ASSERT_EQ(raw.size(), 4u);
  EXPECT_NE(raw[0].find("[LowestBits]"), std::string::npos);
  EXPECT_NE(raw[1].find("[HighestBits]"), std::string::npos);
  EXPECT_NE(raw[2].find("[WritePartialByte]"), std::string::npos);
}

TEST(BitBufferTest, AnEmptyBufferFailsEveryRead) {
  BitBuffer buffer(nullptr, 0);
  uint8_t byte = 1;
  uint16_t word = 2;
  uint32_t value = 3;
  int32_t number = 4;
  EXPECT_EQ(buffer.RemainingBitCount(), 0u);
  EXPECT_FALSE(buffer.PeekBits(&value, 1));
  EXPECT_FALSE(buffer.ReadBits(&value, 1));
  EXPECT_FALSE(buffer.ReadUInt8(&byte));
  EXPECT_FALSE(buffer.ReadUInt16(&word));
  EXPECT_FALSE(buffer.ReadUInt32(&value));
  EXPECT_FALSE(buffer.ReadExponentialGolomb(&value));
  EXPECT_FALSE(buffer.ReadSignedExponentialGolomb(&number));
  EXPECT_FALSE(buffer.ConsumeBits(1));
  EXPECT_FALSE(buffer.ConsumeBytes(1));
  EXPECT_TRUE(buffer.ConsumeBits(0));
  EXPECT_TRUE(buffer.ConsumeBytes(0));
  EXPECT_TRUE(buffer.Seek(0, 0));
  EXPECT_FALSE(buffer.Seek(0, 1));
  EXPECT_EQ(byte, 1);
  EXPECT_EQ(word, 2);
  EXPECT_EQ(value, 3u);
  EXPECT_EQ(number, 4);
  EXPECT_TRUE(buffer.PeekBits(&value, 0));
  EXPECT_EQ(value, 0u);
}

TEST(BitBufferTest, NullPointersFailWithoutMoving) {
  const Bytes bytes(8, 0xFF);
  BitBuffer buffer = Reader(bytes);
  EXPECT_FALSE(buffer.PeekBits(nullptr, 1));
  EXPECT_FALSE(buffer.ReadBits(nullptr, 1));
  EXPECT_FALSE(buffer.ReadUInt8(nullptr));
  EXPECT_FALSE(buffer.ReadUInt16(nullptr));
  EXPECT_FALSE(buffer.ReadUInt32(nullptr));
  EXPECT_FALSE(buffer.ReadExponentialGolomb(nullptr));
  EXPECT_FALSE(buffer.ReadSignedExponentialGolomb(nullptr));
  EXPECT_EQ(PositionOf(&buffer), Position(0, 0));
}

TEST(BitBufferTest, PeeksAtMost32Bits) {
  const Bytes bytes(16, 0xFF);
  BitBuffer buffer = Reader(bytes);
  uint32_t value = 7;
  EXPECT_FALSE(buffer.PeekBits(&value, 33));
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(buffer.PeekBits(&value, 0));
  EXPECT_EQ(value, 0u);
  EXPECT_TRUE(buffer.PeekBits(&value, 32));
  EXPECT_EQ(value, 0xFFFFFFFF);
  EXPECT_EQ(PositionOf(&buffer), Position(0, 0));
}

// Against the bits written out, for each position, width and size.
TEST(BitBufferTest, PeeksTheNextBitsAtEachPosition) {
  std::mt19937 random(1);
  for (const size_t size : {1, 2, 4, 5, 7, 8, 9, 12}) {
    Bytes bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    const std::string bits = ToBits(bytes);
    for (uint32_t start = 0; start <= bits.size(); ++start) {
      for (uint32_t count = 0; count <= 32; ++count) {
        BitBuffer buffer = Reader(bytes);
        ASSERT_TRUE(buffer.Seek(start / 8, start % 8));
        ASSERT_EQ(buffer.RemainingBitCount(), bits.size() - start);
        uint32_t value = 0xDEADBEEF;
        const bool fits = start + count <= bits.size();
        ASSERT_EQ(buffer.ReadBits(&value, count), fits);
        const uint32_t end = fits ? start + count : start;
        ASSERT_EQ(PositionOf(&buffer), Position(end / 8, end % 8));
        const std::string expected = fits ? "0" + bits.substr(start, count) : "";
        ASSERT_EQ(value, fits ? std::stoull(expected, nullptr, 2) : 0xDEADBEEF);
      }
    }
  }
}

TEST(BitBufferTest, ReadsWholeBytesAtAnyBit) {
  const Bytes bytes = FromBits("1011010101011100");
  BitBuffer buffer = Reader(bytes);
  uint32_t three = 0;
  uint8_t byte = 0;
  uint32_t five = 0;
  EXPECT_TRUE(buffer.ReadBits(&three, 3));
  EXPECT_TRUE(buffer.ReadUInt8(&byte));
  EXPECT_TRUE(buffer.ReadBits(&five, 5));
  EXPECT_EQ(three, 5u);
  EXPECT_EQ(byte, 0xAA);
  EXPECT_EQ(five, 0x1Cu);
  EXPECT_EQ(PositionOf(&buffer), Position(2, 0));
}

TEST(BitBufferTest, ReadsFixedWidthNumbers) {
  const Bytes bytes = {0x7F, 0x00, 0xFF, 0x12, 0x34, 0x56, 0x78};
  BitBuffer buffer = Reader(bytes);
  uint8_t byte = 0;
  uint16_t word = 0;
  uint32_t value = 0;
  EXPECT_TRUE(buffer.ReadUInt8(&byte));
  EXPECT_TRUE(buffer.ReadUInt16(&word));
  EXPECT_TRUE(buffer.ReadUInt32(&value));
  EXPECT_EQ(byte, 0x7F);
  EXPECT_EQ(word, 0xFF);
  EXPECT_EQ(value, 0x12345678u);
}

TEST(BitBufferTest, ReadUInt16LogsEveryValueAbove255AndStillStoresIt) {
  ScopedLogCapture log;
  const Bytes bytes = {0x00, 0xFF, 0x01, 0x00, 0xFF, 0xFF};
  BitBuffer buffer = Reader(bytes);
  uint16_t word = 0;
  EXPECT_TRUE(buffer.ReadUInt16(&word));
  EXPECT_EQ(word, 255);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_TRUE(buffer.ReadUInt16(&word));
  EXPECT_EQ(word, 256);
  EXPECT_TRUE(buffer.ReadUInt16(&word));
  EXPECT_EQ(word, 65535);
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR bit_val = 256 is too big", "ERROR bit_val = 65535 is too big"));
  EXPECT_NE(log.raw()[0].find("[ReadUInt16]"), std::string::npos);
}

TEST(BitBufferTest, ConsumesUpToTheEndAndNoFurther) {
  const Bytes bytes(3, 0);
  BitBuffer buffer = Reader(bytes);
  EXPECT_TRUE(buffer.ConsumeBits(3));
  EXPECT_TRUE(buffer.ConsumeBytes(2));
  EXPECT_EQ(PositionOf(&buffer), Position(2, 3));
  EXPECT_FALSE(buffer.ConsumeBytes(1));
  EXPECT_FALSE(buffer.ConsumeBytes(0xFFFFFFFF));
  EXPECT_FALSE(buffer.ConsumeBytes(0x20000000));
  EXPECT_FALSE(buffer.ConsumeBits(6));
  EXPECT_FALSE(buffer.ConsumeBits(0xFFFFFFFF));
  EXPECT_EQ(PositionOf(&buffer), Position(2, 3));
  EXPECT_TRUE(buffer.ConsumeBits(5));
  EXPECT_EQ(PositionOf(&buffer), Position(3, 0));
}

TEST(BitBufferTest, SeeksWithinTheBufferAndToItsVeryEnd) {
  const Bytes bytes(2, 0);
  BitBuffer buffer = Reader(bytes);
  EXPECT_TRUE(buffer.Seek(1, 7));
  EXPECT_FALSE(buffer.Seek(0, 8));
  EXPECT_FALSE(buffer.Seek(2, 1));
  EXPECT_FALSE(buffer.Seek(3, 0));
  EXPECT_FALSE(buffer.Seek(0xFFFFFFFF, 0xFFFFFFFF));
  EXPECT_EQ(PositionOf(&buffer), Position(1, 7));
  EXPECT_TRUE(buffer.Seek(2, 0));
  EXPECT_EQ(buffer.RemainingBitCount(), 0u);
}

TEST(BitBufferTest, GetCurrentOffsetLogsANullPointerAndStoresTheOther) {
  ScopedLogCapture log;
  const Bytes bytes(2, 0);
  BitBuffer buffer = Reader(bytes);
  ASSERT_TRUE(buffer.Seek(1, 5));
  uint32_t byte_offset = 9;
  uint32_t bit_offset = 9;
  buffer.GetCurrentOffset(&byte_offset, nullptr);
  buffer.GetCurrentOffset(nullptr, &bit_offset);
  EXPECT_EQ(byte_offset, 1u);
  EXPECT_EQ(bit_offset, 5u);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR invalid input", "ERROR invalid input"));
}

struct GolombCase {
  std::string name;
  std::string bits;
  bool success;
  uint32_t value;
  int32_t signed_value;
};
class GolombTest : public ::testing::TestWithParam<GolombCase> {};
TEST_P(GolombTest, ReadsAtEachBitOfAByte) {
  const GolombCase& param = GetParam();
  for (size_t before = 0; before < 8; ++before) {
    for (const size_t behind : {0, 100}) {
      if (behind > 0 && !param.success) continue;
      // What stands before ends where the byte grid wants it, so that the data ends with the code.
      const std::string prefix((8 - (param.bits.size() + before) % 8) % 8 + before, '1');
      const Bytes bytes = FromBits(prefix + param.bits + std::string(behind, '0'));
      const auto start = static_cast<uint32_t>(prefix.size());
      BitBuffer buffer = Reader(bytes);
      ASSERT_TRUE(buffer.Seek(start / 8, start % 8));
      uint32_t value = 0xABCDEF01;
      ASSERT_EQ(buffer.ReadExponentialGolomb(&value), param.success);
      ASSERT_EQ(value, param.success ? param.value : 0xABCDEF01);
      const size_t end = param.success ? start + param.bits.size() : start;
      ASSERT_EQ(PositionOf(&buffer), Position(end / 8, end % 8));

      ASSERT_TRUE(buffer.Seek(start / 8, start % 8));
      int32_t number = 0x1BCDEF01;
      ASSERT_EQ(buffer.ReadSignedExponentialGolomb(&number), param.success);
      ASSERT_EQ(number, param.success ? param.signed_value : 0x1BCDEF01);
      ASSERT_EQ(PositionOf(&buffer), Position(end / 8, end % 8));
    }
  }
}
const std::string kZeros31(31, '0');
const std::string kOnes31(31, '1');
INSTANTIATE_TEST_SUITE_P(
    Codes, GolombTest,
    ::testing::Values(
        GolombCase{"Zero", "1", true, 0, 0}, GolombCase{"One", "010", true, 1, 1},
        GolombCase{"Two", "011", true, 2, -1}, GolombCase{"Three", "00100", true, 3, 2},
        GolombCase{"Four", "00101", true, 4, -2},
        GolombCase{"Longest57BitCode", std::string(28, '0') + "1" + std::string(28, '1'), true,
                   0x1FFFFFFE, -0x0FFFFFFF},
        GolombCase{"59BitCode", std::string(29, '0') + "1" + std::string(29, '0'), true, 0x1FFFFFFF,
                   0x10000000},
        GolombCase{"Smallest63BitCode", kZeros31 + "1" + kZeros31, true, 0x7FFFFFFF, 0x40000000},
        GolombCase{"Largest", kZeros31 + "1" + kOnes31, true, 0xFFFFFFFE, -0x7FFFFFFF},
        GolombCase{"LargestPositive", kZeros31 + "1" + kOnes31.substr(1) + "0", true, 0xFFFFFFFD,
                   0x7FFFFFFF},
        GolombCase{"32Zeros", kZeros31 + "01" + kOnes31 + "1", false, 0, 0},
        GolombCase{"Nothing", "", false, 0, 0}, GolombCase{"OnlyZeros", "000", false, 0, 0},
        GolombCase{"HundredZeros", std::string(100, '0'), false, 0, 0},
        GolombCase{"SuffixMissing", "001", false, 0, 0},
        GolombCase{"SuffixCut", "00010", false, 0, 0},
        GolombCase{"LongSuffixCut", kZeros31 + "1" + kOnes31.substr(1), false, 0, 0}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(BitBufferTest, GolombFailuresAreSilent) {
  ScopedLogCapture log;
  uint32_t value = 0;
  for (const char* bits : {"", "00000000", "00000001"}) {
    const Bytes bytes = FromBits(bits);
    BitBuffer buffer = Reader(bytes);
    EXPECT_FALSE(buffer.ReadExponentialGolomb(&value));
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BitBufferTest, LargeSignedCodesMapToBothSides) {
  for (const uint32_t code : {0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFDu, 0xFFFFFFFEu}) {
    Bytes bytes(8);
    BitBufferWriter writer(bytes.data(), 8);
    ASSERT_TRUE(writer.WriteExponentialGolomb(code));
    BitBuffer buffer = Reader(bytes);
    int32_t value = 0;
    ASSERT_TRUE(buffer.ReadSignedExponentialGolomb(&value));
    const int64_t half = (int64_t{code} + 1) / 2;
    EXPECT_EQ(value, code % 2 == 1 ? half : -half);
  }
}

TEST(BitBufferWriterTest, WritesGolombCodes) {
  struct Case {
    uint32_t value;
    const char* bits;
  };
  for (const Case& c : {Case{0, "10000000"}, Case{1, "01000000"}, Case{2, "01100000"},
                        Case{3, "00100000"}, Case{7, "00010000"}}) {
    Bytes bytes(1);
    BitBufferWriter writer(bytes.data(), 1);
    EXPECT_TRUE(writer.WriteExponentialGolomb(c.value));
    EXPECT_EQ(ToBits(bytes), c.bits) << c.value;
  }
  Bytes bytes(9, 0xFF);
  BitBufferWriter writer(bytes.data(), 9);
  EXPECT_FALSE(writer.WriteExponentialGolomb(0xFFFFFFFF));
  EXPECT_EQ(bytes, Bytes(9, 0xFF));
  EXPECT_EQ(PositionOf(&writer), Position(0, 0));
  EXPECT_TRUE(writer.WriteExponentialGolomb(0xFFFFFFFE));
  EXPECT_EQ(ToBits(bytes), kZeros31 + "1" + kOnes31 + "1" + "11111111");
  EXPECT_EQ(PositionOf(&writer), Position(7, 7));
}

TEST(BitBufferWriterTest, WritesSignedGolombCodes) {
  struct Case {
    int32_t value;
    const char* bits;
  };
  for (const Case& c : {Case{0, "10000000"}, Case{1, "01000000"}, Case{-1, "01100000"},
                        Case{2, "00100000"}, Case{-2, "00101000"}}) {
    Bytes bytes(1);
    BitBufferWriter writer(bytes.data(), 1);
    EXPECT_TRUE(writer.WriteSignedExponentialGolomb(c.value));
    EXPECT_EQ(ToBits(bytes), c.bits) << c.value;
  }
  Bytes bytes(9);
  BitBufferWriter writer(bytes.data(), 9);
  EXPECT_FALSE(writer.WriteSignedExponentialGolomb(INT32_MIN));
  EXPECT_EQ(bytes, Bytes(9));
  for (const int32_t value : {INT32_MIN + 1, INT32_MAX, 12345, -12345}) {
    ASSERT_TRUE(writer.Seek(0, 3));
    ASSERT_TRUE(writer.WriteSignedExponentialGolomb(value));
    BitBuffer reader = Reader(bytes);
    int32_t read = 0;
    ASSERT_TRUE(reader.Seek(0, 3));
    ASSERT_TRUE(reader.ReadSignedExponentialGolomb(&read));
    EXPECT_EQ(read, value);
  }
}

TEST(BitBufferWriterTest, ReadsBackWhatItWroteThroughItsBase) {
  Bytes bytes(7);
  BitBufferWriter writer(bytes.data(), 7);
  EXPECT_EQ(writer.RemainingBitCount(), 56u);
  EXPECT_TRUE(writer.WriteUInt8(0x12));
  EXPECT_TRUE(writer.WriteUInt16(0x3456));
  EXPECT_TRUE(writer.WriteUInt32(0x789ABCDE));
  EXPECT_FALSE(writer.WriteBits(1, 1));
  EXPECT_THAT(bytes, ElementsAre(0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE));
  uint32_t value = 0;
  EXPECT_TRUE(writer.Seek(1, 4));
  EXPECT_TRUE(writer.ReadUInt32(&value));
  EXPECT_EQ(value, 0x456789ABu);
}

TEST(BitBufferWriterTest, SpansTwoBytesAndPreservesTheBitsBeside) {
  Bytes bytes = FromBits("1100000011111111");
  BitBufferWriter writer(bytes.data(), 2);
  ASSERT_TRUE(writer.Seek(0, 6));
  EXPECT_TRUE(writer.WriteBits(0x0A, 5));  // 01010
  EXPECT_EQ(ToBits(bytes), "1100000101011111");
}

TEST(BitBufferWriterTest, WritesNothingWhenBitsAreMissing) {
  Bytes bytes(2, 0x55);
  BitBufferWriter writer(bytes.data(), 2);
  ASSERT_TRUE(writer.Seek(0, 3));
  EXPECT_FALSE(writer.WriteBits(0, 14));
  EXPECT_FALSE(writer.WriteBits(0, 64));
  EXPECT_FALSE(writer.WriteUInt16(0));
  EXPECT_FALSE(writer.WriteExponentialGolomb(200));
  EXPECT_FALSE(writer.WriteSignedExponentialGolomb(-100));
  EXPECT_EQ(bytes, Bytes(2, 0x55));
  EXPECT_EQ(PositionOf(&writer), Position(0, 3));
  ASSERT_TRUE(writer.Seek(2, 0));
  EXPECT_TRUE(writer.WriteBits(0xFF, 0));
  EXPECT_EQ(PositionOf(&writer), Position(2, 0));
}

TEST(BitBufferWriterTest, WritesAtMost64Bits) {
  Bytes bytes(20, 0x55);
  BitBufferWriter writer(bytes.data(), 20);
  EXPECT_FALSE(writer.WriteBits(0, 65));
  EXPECT_FALSE(writer.WriteBits(0, 0xFFFFFFFF));
  EXPECT_EQ(bytes, Bytes(20, 0x55));
}

// Against the bits written out, for each position and width.
TEST(BitBufferWriterTest, WritesTheLowBitsAtEachPosition) {
  std::mt19937_64 random(2);
  for (uint32_t start = 0; start < 17; ++start) {
    for (uint32_t count = 0; count <= 64; ++count) {
      Bytes bytes(11);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
      const uint64_t value = random();
      std::string expected = ToBits(bytes);
      for (uint32_t i = 0; i < count; ++i) {
        expected[start + i] = (value >> (count - 1 - i) & 1) != 0 ? '1' : '0';
      }
      BitBufferWriter writer(bytes.data(), 11);
      ASSERT_TRUE(writer.Seek(start / 8, start % 8));
      ASSERT_TRUE(writer.WriteBits(value, count));
      ASSERT_EQ(ToBits(bytes), expected) << start << " " << count;
      ASSERT_EQ(PositionOf(&writer), Position((start + count) / 8, (start + count) % 8));
    }
  }
}

}  // namespace
}  // namespace kx_utility
