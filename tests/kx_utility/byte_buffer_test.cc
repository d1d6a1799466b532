#include "kx_utility/byte_buffer.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;

constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();
constexpr uint64_t kMax64 = std::numeric_limits<uint64_t>::max();

std::vector<int> Bytes(const ByteBufferWriter& writer) {
  std::vector<int> bytes;
  for (uint32_t i = 0; i < writer.length(); ++i) {
    bytes.push_back(static_cast<unsigned char>(writer.data()[i]));
  }
  return bytes;
}

std::string Text(const std::vector<int>& bytes) { return {bytes.begin(), bytes.end()}; }

struct IntegerCase {
  const char* name;
  uint32_t width;  // In bits.
  uint64_t value;
  uint64_t read_back;
  std::vector<int> network;
  std::vector<int> host;
};

class IntegerTest : public ::testing::TestWithParam<IntegerCase> {
 protected:
  static void Write(ByteBufferWriter* writer) {
    const uint64_t value = GetParam().value;
    if (GetParam().width == 8) writer->WriteUInt8(static_cast<uint8_t>(value));
    if (GetParam().width == 16) writer->WriteUInt16(static_cast<uint16_t>(value));
    if (GetParam().width == 24) writer->WriteUInt24(static_cast<uint32_t>(value));
    if (GetParam().width == 32) writer->WriteUInt32(static_cast<uint32_t>(value));
    if (GetParam().width == 64) writer->WriteUInt64(value);
  }

  template <typename T>
  static bool ReadAs(ByteBufferReader* reader, bool (ByteBufferReader::*read)(T*),
                     uint64_t* value) {
    if (value == nullptr) return (reader->*read)(nullptr);
    T typed = static_cast<T>(*value);
    const bool result = (reader->*read)(&typed);
    *value = typed;
    return result;
  }

  static bool Read(ByteBufferReader* reader, uint64_t* value) {
    switch (GetParam().width) {
      case 8:
        return ReadAs(reader, &ByteBufferReader::ReadUInt8, value);
      case 16:
        return ReadAs(reader, &ByteBufferReader::ReadUInt16, value);
      case 24:
        return ReadAs(reader, &ByteBufferReader::ReadUInt24, value);
      case 32:
        return ReadAs(reader, &ByteBufferReader::ReadUInt32, value);
      default:
        return ReadAs(reader, &ByteBufferReader::ReadUInt64, value);
    }
  }
};

TEST_P(IntegerTest, IsWrittenInTheWritersOrder) {
  ByteBufferWriter network;
  Write(&network);
  EXPECT_EQ(GetParam().network, Bytes(network));
  ByteBufferWriter host(ByteBuffer::ORDER_HOST);
  Write(&host);
  EXPECT_EQ(GetParam().host, Bytes(host));
}

TEST_P(IntegerTest, IsReadInTheReadersOrder) {
  const std::string network = Text(GetParam().network) + "+";
  ByteBufferReader network_reader(network.data(), static_cast<uint32_t>(network.size()));
  uint64_t value = 0;
  EXPECT_TRUE(Read(&network_reader, &value));
  EXPECT_EQ(GetParam().read_back, value);
  EXPECT_EQ(1u, network_reader.remaining());

  const std::string host = Text(GetParam().host);
  ByteBufferReader host_reader(host.data(), static_cast<uint32_t>(host.size()),
                               ByteBuffer::ORDER_HOST);
  value = 0;
  EXPECT_TRUE(Read(&host_reader, &value));
  EXPECT_EQ(GetParam().read_back, value);
  EXPECT_EQ(0u, host_reader.remaining());
}

TEST_P(IntegerTest, ChangesNothingWhenItIsCutOrHasNoDestination) {
  const std::string bytes = Text(GetParam().network);
  for (uint32_t length = 0; length < bytes.size(); ++length) {
    const std::string exact(bytes, 0, length);  // A sanitizer sees a read behind it.
    ByteBufferReader reader(exact.data(), length);
    uint64_t value = 0x55;
    EXPECT_FALSE(Read(&reader, &value)) << length;
    EXPECT_EQ(0x55u, value);
    EXPECT_EQ(length, reader.remaining());
  }
  ByteBufferReader reader(bytes.data(), static_cast<uint32_t>(bytes.size()));
  EXPECT_FALSE(Read(&reader, nullptr));
  EXPECT_EQ(bytes.size(), reader.remaining());
}

INSTANTIATE_TEST_SUITE_P(
    Widths, IntegerTest,
    ::testing::Values(
        IntegerCase{"Bits8", 8, 0xA5, 0xA5, {0xA5}, {0xA5}},
        IntegerCase{"Bits16", 16, 0x0102, 0x0102, {1, 2}, {2, 1}},
        IntegerCase{"Bits24", 24, 0xABCDEF, 0xABCDEF, {0xAB, 0xCD, 0xEF}, {0xEF, 0xCD, 0xAB}},
        IntegerCase{"Bits24DropTheTopByte",
                    24,
                    0x12ABCDEF,
                    0xABCDEF,
                    {0xAB, 0xCD, 0xEF},
                    {0xEF, 0xCD, 0xAB}},
        IntegerCase{"Bits32", 32, 0x01020304, 0x01020304, {1, 2, 3, 4}, {4, 3, 2, 1}},
        IntegerCase{"Bits32Max", 32, kMax, kMax, {255, 255, 255, 255}, {255, 255, 255, 255}},
        IntegerCase{"Bits64",
                    64,
                    0x0102030405060708,
                    0x0102030405060708,
                    {1, 2, 3, 4, 5, 6, 7, 8},
                    {8, 7, 6, 5, 4, 3, 2, 1}}),
    [](const auto& param_info) { return param_info.param.name; });

struct VarintCase {
  const char* name;
  uint64_t value;
  std::vector<int> bytes;
};

class VarintTest : public ::testing::TestWithParam<VarintCase> {};

TEST_P(VarintTest, TakesSevenBitsAByteWhateverTheOrder) {
  for (const auto order : {ByteBuffer::ORDER_NETWORK, ByteBuffer::ORDER_HOST}) {
    ByteBufferWriter writer(order);
    writer.WriteUVarint(GetParam().value);
    EXPECT_EQ(GetParam().bytes, Bytes(writer));
    ByteBufferReader reader(writer);
    uint64_t value = ~GetParam().value;
    EXPECT_TRUE(reader.ReadUVarint(&value));
    EXPECT_EQ(GetParam().value, value);
    EXPECT_EQ(0u, reader.remaining());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Values, VarintTest,
    ::testing::Values(VarintCase{"Zero", 0, {0}}, VarintCase{"LargestOfOneByte", 127, {0x7F}},
                      VarintCase{"SmallestOfTwoBytes", 128, {0x80, 0x01}},
                      VarintCase{"ThreeHundred", 300, {0xAC, 0x02}},
                      VarintCase{"LargestOfNineBytes",
                                 kMax64 >> 1,
                                 {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}},
                      VarintCase{"TopBitAlone",
                                 uint64_t{1} << 63,
                                 {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}},
                      VarintCase{"Largest",
                                 kMax64,
                                 {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(ByteBufferReaderTest, TakesOnlyTheLowestBitOfATenthVarintByte) {
  const std::string bytes = std::string(9, '\x80') + '\x7E';
  ByteBufferReader reader(bytes.data(), 10);
  uint64_t value = 1;
  EXPECT_TRUE(reader.ReadUVarint(&value));
  EXPECT_EQ(0u, value);
}

TEST(ByteBufferReaderTest, FailsOnATenthVarintByteThatAnnouncesAnother) {
  const std::string bytes = std::string(10, '\x80') + '\x01';
  ByteBufferReader reader(bytes.data(), 11);
  uint64_t value = 77;
  EXPECT_FALSE(reader.ReadUVarint(&value));
  EXPECT_EQ(77u, value);
  EXPECT_EQ(1u, reader.remaining());  // Intended: the ten bytes are consumed.
}

TEST(ByteBufferReaderTest, StandsAtItsEndAfterAVarintThatIsCutOff) {
  ByteBufferReader reader("\x80\x80", 2);
  uint64_t value = 77;
  EXPECT_FALSE(reader.ReadUVarint(&value));
  EXPECT_EQ(77u, value);
  EXPECT_EQ(0u, reader.remaining());  // Intended: both bytes are consumed.
}

TEST(ByteBufferReaderTest, ConsumesNothingForAVarintWithoutDestination) {
  ByteBufferReader reader("\x01", 1);
  EXPECT_FALSE(reader.ReadUVarint(nullptr));
  EXPECT_EQ(1u, reader.remaining());
}

TEST(ByteBufferReaderTest, CopiesAndSkipsBytes) {
  ByteBufferReader reader("abcdef");
  EXPECT_EQ(6u, reader.size());
  char bytes[3] = {};
  EXPECT_TRUE(reader.ReadBytes(bytes, 2));
  EXPECT_STREQ("ab", bytes);
  EXPECT_TRUE(reader.Consume(1));
  EXPECT_STREQ("def", reader.data());
  EXPECT_FALSE(reader.ReadBytes(bytes, 4));
  EXPECT_FALSE(reader.Consume(4));
  EXPECT_FALSE(reader.Consume(kMax));
  EXPECT_STREQ("ab", bytes);
  EXPECT_EQ(3u, reader.remaining());
  EXPECT_TRUE(reader.Consume(3));
  EXPECT_TRUE(reader.Consume(0));
  EXPECT_TRUE(reader.ReadBytes(bytes, 0));
  EXPECT_EQ(0u, reader.remaining());
  EXPECT_EQ(6u, reader.size());
}

TEST(ByteBufferReaderTest, AppendsToAString) {
  ByteBufferReader reader("abcdef");
  std::string text = "x";
  EXPECT_TRUE(reader.ReadString(&text, 3));
  EXPECT_EQ("xabc", text);
  EXPECT_FALSE(reader.ReadString(&text, 4));
  EXPECT_FALSE(reader.ReadString(nullptr, 1));
  EXPECT_EQ("xabc", text);
  EXPECT_EQ(3u, reader.remaining());
  EXPECT_TRUE(reader.ReadString(&text, 3));
  EXPECT_EQ("xabcdef", text);
}

TEST(ByteBufferReaderTest, TakesNullForNoBytes) {
  for (ByteBufferReader reader : {ByteBufferReader(nullptr), ByteBufferReader(nullptr, 5)}) {
    uint8_t value = 7;
    EXPECT_EQ(0u, reader.remaining());
    EXPECT_FALSE(reader.ReadUInt8(&value));
    EXPECT_EQ(7, value);
  }
}

TEST(ByteBufferReaderTest, ReadsOtherMemoryInTheSameOrder) {
  ByteBufferReader reader("ab", 2, ByteBuffer::ORDER_HOST);
  EXPECT_TRUE(reader.Consume(1));
  reader.Construct("\x01\x02\x03", 3);
  EXPECT_EQ(3u, reader.remaining());
  uint16_t value = 0;
  EXPECT_TRUE(reader.ReadUInt16(&value));
  EXPECT_EQ(0x0201, value);
}

TEST(ByteBufferReaderTest, ViewsWhatAWriterHolds) {
  ByteBufferWriter writer(ByteBuffer::ORDER_HOST);
  writer.WriteUInt16(0x0102);
  ByteBufferReader reader(writer);
  EXPECT_EQ(writer.data(), reader.data());
  EXPECT_EQ(2u, reader.remaining());
  EXPECT_EQ(ByteBuffer::ORDER_HOST, reader.byte_order());
}

TEST(ByteBufferWriterTest, StartsEmptyWithRoomForAPage) {
  EXPECT_EQ(4096u, ByteBufferWriter().capacity());
  EXPECT_EQ(0u, ByteBufferWriter().length());
  EXPECT_EQ(ByteBuffer::ORDER_NETWORK, ByteBufferWriter().byte_order());
  EXPECT_EQ(4096u, ByteBufferWriter(ByteBuffer::ORDER_HOST).capacity());
  EXPECT_EQ(ByteBuffer::ORDER_HOST, ByteBufferWriter(ByteBuffer::ORDER_HOST).byte_order());
}

TEST(ByteBufferWriterTest, StartsWithACopyOfTheGivenBytes) {
  const ByteBufferWriter copy("abc", 3);
  EXPECT_EQ(3u, copy.capacity());
  EXPECT_THAT(Bytes(copy), ElementsAre('a', 'b', 'c'));
  const ByteBufferWriter empty(nullptr, 3, ByteBuffer::ORDER_HOST);
  EXPECT_EQ(3u, empty.capacity());
  EXPECT_EQ(0u, empty.length());
  EXPECT_EQ(ByteBuffer::ORDER_HOST, empty.byte_order());
}

TEST(ByteBufferWriterTest, StartsOverWithOtherBytes) {
  ByteBufferWriter writer("abc", 3, ByteBuffer::ORDER_HOST);
  writer.Construct("xy", 2);
  EXPECT_EQ(2u, writer.capacity());
  EXPECT_THAT(Bytes(writer), ElementsAre('x', 'y'));
  EXPECT_EQ(ByteBuffer::ORDER_HOST, writer.byte_order());
}

TEST(ByteBufferWriterTest, WritesBytesAndStringsWithoutLengthOrTerminator) {
  ByteBufferWriter writer;
  writer.WriteBytes("abc", 2);
  writer.WriteString("de");
  writer.WriteString("");
  writer.WriteBytes(nullptr, 7);
  EXPECT_THAT(Bytes(writer), ElementsAre('a', 'b', 'd', 'e'));
}

struct WriterGrowthCase {
  const char* name;
  uint32_t start;
  uint32_t added;
  uint32_t capacity;
};

class WriterGrowthTest : public ::testing::TestWithParam<WriterGrowthCase> {};

TEST_P(WriterGrowthTest, GrowsByHalfOrByWhatIsNeeded) {
  const std::string start(GetParam().start, 's');
  const std::string added(GetParam().added, 'a');
  ByteBufferWriter writer(start.data(), GetParam().start);
  writer.WriteString(added);
  EXPECT_EQ(GetParam().capacity, writer.capacity());
  EXPECT_EQ(start + added, std::string(writer.data(), writer.length()));
}

INSTANTIATE_TEST_SUITE_P(Lengths, WriterGrowthTest,
                         ::testing::Values(WriterGrowthCase{"HalfWins", 10, 1, 15},
                                           WriterGrowthCase{"ExactlyHalf", 10, 5, 15},
                                           WriterGrowthCase{"NeedWins", 10, 6, 16},
                                           WriterGrowthCase{"OneByte", 1, 1, 2},
                                           WriterGrowthCase{"FromNothing", 0, 3, 3},
                                           WriterGrowthCase{"FullIsNotOver", 10, 0, 10},
                                           WriterGrowthCase{"PastThePage", 4096, 1, 6144}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(ByteBufferWriterTest, GrowsFromItsInitialPageByHalf) {
  ByteBufferWriter writer;
  writer.WriteString(std::string(4096, 'x'));
  EXPECT_EQ(4096u, writer.capacity());
  writer.WriteUInt8(1);
  EXPECT_EQ(6144u, writer.capacity());
}

TEST(ByteBufferWriterTest, CountsReservedBytesAsWritten) {
  ByteBufferWriter writer("ab", 2);
  char* reserved = writer.ReserveWriteBuffer(2);
  ASSERT_NE(nullptr, reserved);
  reserved[0] = 'c';
  reserved[1] = 'd';
  EXPECT_THAT(Bytes(writer), ElementsAre('a', 'b', 'c', 'd'));
}

TEST(ByteBufferWriterTest, ResizeCutsTheContentAndNeverLengthensIt) {
  ByteBufferWriter writer("abcd", 4);
  writer.Resize(2);
  EXPECT_THAT(Bytes(writer), ElementsAre('a', 'b'));
  EXPECT_EQ(4u, writer.capacity());
  const char* const storage = writer.data();
  writer.Resize(4);
  EXPECT_THAT(Bytes(writer), ElementsAre('a', 'b'));
  EXPECT_EQ(4u, writer.capacity()) << "it suffices exactly";
  EXPECT_EQ(storage, writer.data());
  writer.Resize(5);
  EXPECT_THAT(Bytes(writer), ElementsAre('a', 'b'));
  EXPECT_EQ(6u, writer.capacity());
  writer.Resize(100);
  EXPECT_THAT(Bytes(writer), ElementsAre('a', 'b'));
  EXPECT_EQ(100u, writer.capacity());
}

TEST(ByteBufferWriterTest, ClearZeroesTheWholeCapacity) {
  ByteBufferWriter writer("abcd", 4);
  writer.Clear();
  EXPECT_EQ(0u, writer.length());
  EXPECT_EQ(4u, writer.capacity());
  EXPECT_EQ(std::string(4, '\0'), std::string(writer.data(), 4));
}

TEST(ByteBufferWriterTest, RefusesALengthBeyond32Bits) {
  ScopedLogCapture log;
  ByteBufferWriter writer("a", 1);
  EXPECT_EQ(nullptr, writer.ReserveWriteBuffer(kMax));
  writer.WriteBytes("b", kMax);
  EXPECT_THAT(Bytes(writer), ElementsAre('a'));
  EXPECT_EQ(1u, writer.capacity());
  EXPECT_THAT(log.lines(), ElementsAre("ERROR data is too big", "ERROR data is too big"));
}

}  // namespace
}  // namespace kx_utility
