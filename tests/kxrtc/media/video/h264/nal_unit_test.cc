#include "kxrtc/media/video/h264/nal_unit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kx_utility/raw_buffer.h"

namespace kxrtc {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Bytes = std::vector<uint8_t>;

// A copy without slack, so that a read past the end is a sanitizer finding.
class Exact {
 public:
  explicit Exact(const Bytes& bytes)
      : bytes_(new uint8_t[bytes.size()]), size_(static_cast<uint32_t>(bytes.size())) {
    std::copy(bytes.begin(), bytes.end(), bytes_.get());
  }
  const uint8_t* data() const { return bytes_.get(); }
  uint32_t size() const { return size_; }

 private:
  std::unique_ptr<uint8_t[]> bytes_;
  uint32_t size_;
};

Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes result;
  for (const Bytes& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

const Bytes kStartCode = {0, 0, 1};
const Bytes kLongStartCode = {0, 0, 0, 1};
const Bytes kSps = {0x67, 0x42, 0xC0, 0x1E};
const Bytes kPps = {0x68, 0xCE, 0x3C};
const Bytes kIdr = {0x65, 0x88, 0x84};
const Bytes kDelta = {0x41, 0x9A, 0x24};

std::vector<H264::NaluIndex> Find(const Bytes& bytes) {
  const Exact exact(bytes);
  return H264::FindNaluIndices(exact.data(), exact.size());
}
bool IsKey(const Bytes& bytes) {
  const Exact exact(bytes);
  return H264::IsKeyFrame(exact.data(), exact.size());
}
bool IsValid(const Bytes& bytes) {
  const Exact exact(bytes);
  return H264::IsValidFrame(exact.data(), exact.size());
}
Bytes Unescaped(const Bytes& bytes) {
  const Exact exact(bytes);
  return H264::ParseRbsp(exact.data(), exact.size());
}
Bytes Escaped(const Bytes& bytes) {
  const Exact exact(bytes);
  kx_utility::RawBuffer buffer;
  H264::WriteRbsp(exact.data(), exact.size(), &buffer);
  return Bytes(buffer.data(), buffer.data() + buffer.size());
}

MATCHER_P3(IsNalu, start, payload_start, size, "") {
  return arg.start_offset == static_cast<uint32_t>(start) &&
         arg.payload_start_offset == static_cast<uint32_t>(payload_start) &&
         arg.payload_size == static_cast<uint32_t>(size);
}

// The behaviour to compare with: one step at a time, in 32-bit positions.
struct Reference {
  static std::vector<uint32_t> StartCodes(const Bytes& bytes) {
    std::vector<uint32_t> result;
    if (bytes.size() <= 3) return result;
    uint32_t i = 0;
    do {
      if (bytes[i + 2] >= 2) {
        i += 3;
      } else if (bytes[i + 2] == 1 && bytes[i + 1] == 0 && bytes[i] == 0) {
        result.push_back(i);
        i += 3;
      } else {
        ++i;
      }
    } while (i < bytes.size() - 3);
    return result;
  }

  static Bytes Unescape(const Bytes& bytes) {
    Bytes result;
    for (size_t i = 0; i < bytes.size();) {
      if (bytes.size() - i >= 3 && bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 3) {
        result.insert(result.end(), {0, 0});
        i += 3;
      } else {
        result.push_back(bytes[i++]);
      }
    }
    return result;
  }

  static void Escape(const Bytes& bytes, kx_utility::RawBuffer* destination) {
    const uint8_t escape = 3;
    int zeros = 0;
    destination->EnsureCapacityWithHeadroom(
        destination->size() + static_cast<uint32_t>(bytes.size()), false);
    for (const uint8_t byte : bytes) {
      if (zeros >= 2 && byte <= 3) {
        ASSERT_TRUE(destination->AppendData(&escape, 1));
        zeros = 0;
      }
      ASSERT_TRUE(destination->AppendData(&byte, 1));
      zeros = byte == 0 ? zeros + 1 : 0;
    }
  }
};

void ExpectSameAsReference(const Bytes& bytes) {
  const std::vector<uint32_t> codes = Reference::StartCodes(bytes);
  const std::vector<H264::NaluIndex> found = Find(bytes);
  ASSERT_EQ(found.size(), codes.size());
  bool key = false;
  bool valid = true;
  for (size_t n = 0; n < codes.size(); ++n) {
    const uint32_t at = codes[n];
    const uint32_t start = at > 0 && bytes[at - 1] == 0 ? at - 1 : at;
    const size_t end = n + 1 < codes.size() ? found[n + 1].start_offset : bytes.size();
    ASSERT_THAT(found[n], IsNalu(start, at + 3, end - (at + 3)));
    const int type = bytes[at + 3] & 0x1F;
    key = key || type == 5;
    valid = valid && !(type == 0 || type == 16 || type == 17 || type == 18 || type > 21);
  }
  ASSERT_EQ(IsKey(bytes), key);
  ASSERT_EQ(IsValid(bytes), valid);
  ASSERT_EQ(Unescaped(bytes), Reference::Unescape(bytes));

  const Exact exact(bytes);
  kx_utility::RawBuffer expected;
  kx_utility::RawBuffer written;
  ASSERT_NO_FATAL_FAILURE(Reference::Escape(bytes, &expected));
  H264::WriteRbsp(exact.data(), exact.size(), &written);
  ASSERT_EQ(written.capacity(), expected.capacity());
  ASSERT_EQ(Bytes(written.data(), written.data() + written.size()),
            Bytes(expected.data(), expected.data() + expected.size()));
}

TEST(NalUnitTest, FindsNothingInFewerThanFourBytes) {
  EXPECT_THAT(Find({}), IsEmpty());
  EXPECT_THAT(Find({0}), IsEmpty());
  EXPECT_THAT(Find({0, 0}), IsEmpty());
  EXPECT_THAT(Find({0, 0, 1}), IsEmpty());
  EXPECT_THAT(H264::FindNaluIndices(nullptr, 0), IsEmpty());
}

TEST(NalUnitTest, FindsAShortStartCodeAtTheStart) {
  EXPECT_THAT(Find(Joined({kStartCode, kSps})), ElementsAre(IsNalu(0, 3, 4)));
}

TEST(NalUnitTest, FindsALongStartCodeAtTheStart) {
  EXPECT_THAT(Find(Joined({kLongStartCode, kSps})), ElementsAre(IsNalu(0, 4, 4)));
}

TEST(NalUnitTest, EndsANaluWhereTheNextStartCodeBegins) {
  EXPECT_THAT(Find(Joined({kLongStartCode, kSps, kStartCode, kPps})),
              ElementsAre(IsNalu(0, 4, 4), IsNalu(8, 11, 3)));
  EXPECT_THAT(Find(Joined({kLongStartCode, kSps, kLongStartCode, kPps})),
              ElementsAre(IsNalu(0, 4, 4), IsNalu(8, 12, 3)));
}

TEST(NalUnitTest, FoldsOnlyOneZeroIntoALongStartCode) {
  EXPECT_THAT(Find(Joined({kStartCode, kSps, {0, 0}, kStartCode, kPps})),
              ElementsAre(IsNalu(0, 3, 5), IsNalu(8, 12, 3)));
}

TEST(NalUnitTest, LeavesBytesBeforeTheFirstStartCodeOut) {
  EXPECT_THAT(Find(Joined({{0xAA, 0xBB}, kStartCode, kIdr})), ElementsAre(IsNalu(2, 5, 3)));
}

TEST(NalUnitTest, FindsAdjacentStartCodes) {
  EXPECT_THAT(Find(Joined({kStartCode, kStartCode, kIdr})),
              ElementsAre(IsNalu(0, 3, 0), IsNalu(3, 6, 3)));
}

TEST(NalUnitTest, IgnoresAStartCodeWithoutHeaderByteAtTheEnd) {
  EXPECT_THAT(Find(Joined({kStartCode, kIdr, kStartCode})), ElementsAre(IsNalu(0, 3, 6)));
}

TEST(NalUnitTest, FindsTheNextStartCodeFromAnyPlaceOn) {
  const Exact bytes({0, 0, 0, 1, 0x67, 0, 0, 1, 0x68, 0, 0, 1});
  const uint32_t expected[] = {1, 1, 5, 5, 5, 5, 12, 12, 12, 12, 12, 12, 12};
  for (uint32_t from = 0; from <= bytes.size(); ++from) {
    EXPECT_EQ(expected[from], H264::FindStartCode(bytes.data(), bytes.size(), from)) << from;
  }
  EXPECT_EQ(3U, H264::FindStartCode(bytes.data(), 3, 0));
  EXPECT_EQ(0U, H264::FindStartCode(bytes.data(), 0, 0));
}

TEST(NalUnitTest, TellsWhatEachTypeHolds) {
  for (int type = 0; type < 32; ++type) {
    EXPECT_EQ(type >= 1 && type <= 5, H264::IsPictureData(static_cast<uint8_t>(type))) << type;
    EXPECT_EQ(type == 1 || type == 2 || type == 5, H264::HasSliceHeader(static_cast<uint8_t>(type)))
        << type;
  }
}

TEST(NalUnitTest, ReadsTheReferenceBitsOfTheHeaderByte) {
  EXPECT_EQ(3, H264::ParseNalRefIdc(0x67));
  EXPECT_EQ(2, H264::ParseNalRefIdc(0xC1));
  EXPECT_EQ(0, H264::ParseNalRefIdc(0x9F));
}

TEST(NalUnitTest, MasksTheHeaderByteDownToTheType) {
  for (int header = 0; header < 256; ++header) {
    EXPECT_EQ(H264::ParseNaluType(static_cast<uint8_t>(header)), header % 32);
  }
}

struct ByteCase {
  std::string name;
  Bytes input;
  Bytes output;
};

class ParseRbspTest : public ::testing::TestWithParam<ByteCase> {};
TEST_P(ParseRbspTest, RemovesEscapes) { EXPECT_EQ(Unescaped(GetParam().input), GetParam().output); }
INSTANTIATE_TEST_SUITE_P(
    Bytes, ParseRbspTest,
    ::testing::Values(ByteCase{"Empty", {}, {}}, ByteCase{"Escape", {0, 0, 3, 1}, {0, 0, 1}},
                      ByteCase{"EscapeAtTheEnd", {0, 0, 3}, {0, 0}},
                      ByteCase{"OneZeroIsNoEscape", {0, 3}, {0, 3}},
                      ByteCase{"BackToBack", {0, 0, 3, 0, 0, 3}, {0, 0, 0, 0}},
                      ByteCase{"ThreeZeros", {0, 0, 0, 3, 1}, {0, 0, 0, 1}},
                      ByteCase{"LargeByteBehindIsNotChecked", {0, 0, 3, 9}, {0, 0, 9}},
                      ByteCase{"EscapedThree", {0, 0, 3, 3}, {0, 0, 3}},
                      ByteCase{"UnescapedStartCodeStays", {0, 0, 1}, {0, 0, 1}}),
    [](const auto& param_info) { return param_info.param.name; });

class WriteRbspTest : public ::testing::TestWithParam<ByteCase> {};
TEST_P(WriteRbspTest, InsertsEscapes) { EXPECT_EQ(Escaped(GetParam().input), GetParam().output); }
INSTANTIATE_TEST_SUITE_P(
    Bytes, WriteRbspTest,
    ::testing::Values(ByteCase{"Empty", {}, {}}, ByteCase{"TwoZeros", {0, 0}, {0, 0}},
                      ByteCase{"ThreeZeros", {0, 0, 0}, {0, 0, 3, 0}},
                      ByteCase{"FiveZeros", {0, 0, 0, 0, 0}, {0, 0, 3, 0, 0, 3, 0}},
                      ByteCase{"One", {0, 0, 1}, {0, 0, 3, 1}},
                      ByteCase{"Three", {0, 0, 3}, {0, 0, 3, 3}},
                      ByteCase{"Four", {0, 0, 4}, {0, 0, 4}},
                      ByteCase{"OneZero", {7, 0, 1}, {7, 0, 1}}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(NalUnitTest, WriteRbspAppendsAndStartsItsZeroCountAnew) {
  kx_utility::RawBuffer buffer;
  const Bytes first = {5, 0, 0};
  const Bytes second = {0, 0, 1};
  H264::WriteRbsp(first.data(), 3, &buffer);
  H264::WriteRbsp(second.data(), 3, &buffer);
  EXPECT_THAT(Bytes(buffer.data(), buffer.data() + buffer.size()),
              ElementsAre(5, 0, 0, 0, 0, 3, 1));
}

TEST(NalUnitTest, WriteRbspReservesTheInputLengthAndGrowsByHalfForEscapes) {
  kx_utility::RawBuffer buffer;
  const Bytes plain(100, 7);
  H264::WriteRbsp(plain.data(), 100, &buffer);
  EXPECT_EQ(buffer.capacity(), 100u);
  H264::WriteRbsp(Bytes(10, 0).data(), 10, &buffer);
  EXPECT_EQ(buffer.size(), 114u);
  EXPECT_EQ(buffer.capacity(), 165u);
}

TEST(NalUnitTest, OnlyAnIdrSliceMakesAKeyFrame) {
  EXPECT_TRUE(IsKey(Joined({kLongStartCode, kSps, kLongStartCode, kPps, kStartCode, kIdr})));
  EXPECT_FALSE(IsKey(Joined({kLongStartCode, kSps, kLongStartCode, kPps})));
  EXPECT_FALSE(IsKey(Joined({kLongStartCode, kDelta})));
  EXPECT_FALSE(IsKey({0x65, 0x88, 0x84, 0x00, 0x33}));
}

TEST(NalUnitTest, ThreeBytesOrFewerAreNoKeyFrame) {
  EXPECT_FALSE(IsKey({}));
  EXPECT_FALSE(IsKey({0}));
  EXPECT_FALSE(IsKey({0, 0}));
  EXPECT_FALSE(IsKey({0, 0, 1}));
  EXPECT_TRUE(IsKey({0, 0, 1, 5}));
}

TEST(NalUnitTest, UpToThreeBytesAreAValidFrameWhateverTheyAre) {
  EXPECT_TRUE(IsValid({}));
  EXPECT_TRUE(IsValid({0}));
  EXPECT_TRUE(IsValid({0, 0}));
  EXPECT_TRUE(IsValid({0, 0, 1}));
  EXPECT_TRUE(IsValid({0xFF, 0xFF, 0xFF}));
  EXPECT_FALSE(IsValid({0, 0, 1, 0}));
}

TEST(NalUnitTest, AFrameWithoutStartCodeIsValid) {
  EXPECT_TRUE(IsValid({1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(IsValid(Bytes(100, 0)));
}

TEST(NalUnitTest, EachTypeDecidesWhereverItStands) {
  for (int type = 0; type < 32; ++type) {
    SCOPED_TRACE(type);
    const bool accepted = (type >= 1 && type <= 15) || (type >= 19 && type <= 21);
    const Bytes nalu = {static_cast<uint8_t>(0x60 | type), 0x11};
    EXPECT_EQ(IsValid(Joined({kStartCode, nalu})), accepted);
    EXPECT_EQ(IsValid(Joined({kStartCode, kDelta, kLongStartCode, nalu})), accepted);
    EXPECT_EQ(IsValid(Joined({kStartCode, nalu, kStartCode, kDelta})), accepted);
    EXPECT_EQ(IsKey(Joined({kStartCode, kSps, kStartCode, nalu})), type == 5);
  }
}

// Every string of up to seven bytes over the bytes that matter.
TEST(NalUnitTest, EqualsThePlainSearchOnEveryShortBuffer) {
  const Bytes alphabet = {0, 1, 3, 5, 0x80};
  for (size_t size = 0, count = 1; size <= 7; ++size, count *= alphabet.size()) {
    Bytes bytes(size);
    for (size_t code = 0; code < count; ++code) {
      size_t rest = code;
      for (uint8_t& byte : bytes) {
        byte = alphabet[rest % alphabet.size()];
        rest /= alphabet.size();
      }
      ASSERT_NO_FATAL_FAILURE(ExpectSameAsReference(bytes)) << ::testing::PrintToString(bytes);
    }
  }
}

// A single pattern at every position of buffers around the sizes that are searched as blocks.
TEST(NalUnitTest, EqualsThePlainSearchForAPatternAtEveryPosition) {
  const std::vector<Bytes> patterns = {{0, 0, 1, 0x65}, {0, 0, 0, 1, 0x61}, {0, 0, 3}, {0, 0, 2},
                                       {0, 1},          {0, 0, 0, 0, 0, 1}};
  for (const size_t size : {66, 67, 126, 127, 128, 129, 130, 131, 132, 258, 259}) {
    for (const Bytes& pattern : patterns) {
      for (const uint8_t filler : {0, 1, 2, 0xFF}) {
        for (size_t at = 0; at + pattern.size() <= size; ++at) {
          Bytes bytes(size, filler);
          std::copy(pattern.begin(), pattern.end(), bytes.begin() + static_cast<long>(at));
          ASSERT_NO_FATAL_FAILURE(ExpectSameAsReference(bytes)) << size << " " << at;
        }
      }
    }
  }
}

TEST(NalUnitTest, EqualsThePlainSearchOnRandomBuffers) {
  std::mt19937 random(20);
  for (int round = 0; round < 4000; ++round) {
    Bytes bytes(random() % 700);
    const uint32_t range = round % 4 == 0 ? 256 : 2 + round % 5;
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() % range);
    ASSERT_NO_FATAL_FAILURE(ExpectSameAsReference(bytes)) << "round " << round;
  }
}

}  // namespace
}  // namespace kxrtc
