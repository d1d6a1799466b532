#include "record/stream/annex_b.h"

#include <gmock/gmock.h>

#include <cstring>
#include <random>
#include <string>

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using std::string_literals::operator""s;

std::vector<std::string> Split(const std::string& access_unit) {
  // A copy of exactly that size lets a sanitizer see each read beyond it.
  const std::vector<uint8_t> bytes(access_unit.begin(), access_unit.end());
  std::vector<NalUnit> units;
  SplitAccessUnit(bytes.data(), static_cast<uint32_t>(bytes.size()), &units);
  std::vector<std::string> texts;
  for (const NalUnit& unit : units) {
    texts.emplace_back(reinterpret_cast<const char*>(unit.data), unit.size);
  }
  return texts;
}

struct SplitCase {
  const char* name;
  std::string access_unit;
  std::vector<std::string> units;
};

class SplitAccessUnitTest : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SplitAccessUnitTest, YieldsTheUnits) {
  EXPECT_EQ(Split(GetParam().access_unit), GetParam().units);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SplitAccessUnitTest,
    ::testing::Values(
        SplitCase{"Empty", "", {}}, SplitCase{"NoStartCode", "\x65\x01\x02"s, {}},
        SplitCase{"StartCodeAlone", "\0\0\1"s, {}}, SplitCase{"OneByte", "\0\0\1\x65"s, {"\x65"}},
        SplitCase{"FourByteStartCode", "\0\0\0\1\x65z"s, {"\x65z"}},
        SplitCase{"MixedStartCodes",
                  "\0\0\0\1\x67sps\0\0\1\x68pps\0\0\0\1\x65idr"s,
                  {"\x67sps", "\x68pps", "\x65idr"}},
        SplitCase{"ZerosBetweenUnits", "\0\0\1\x67sps\0\0\0\0\0\1\x68pps"s, {"\x67sps", "\x68pps"}},
        SplitCase{"ZerosAtTheEnd", "\0\0\1\x65idr\0\0\0"s, {"\x65idr"}},
        SplitCase{"ZerosInside", "\0\0\1\x65i\0\0\3\1r"s, {"\x65i\0\0\3\1r"s}},
        SplitCase{"BytesBeforeTheFirst", "abc\0\0\1\x65"s, {"\x65"}},
        SplitCase{"EmptyUnit", "\0\0\1\0\0\1\x65"s, {"\x65"}},
        SplitCase{"OnesInTheBytes", "\0\0\1\x65\1\1\0\1\1\0\0\2"s, {"\x65\1\1\0\1\1\0\0\2"s}},
        SplitCase{"StartCodeAtTheVeryEnd", "\0\0\1\x65\0\0\1"s, {"\x65"}},
        SplitCase{"ManyStartCodesAtTheVeryEnd", "\0\0\1\x65\0\0\0\1\0\0\1"s, {"\x65"}}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(SplitAccessUnitRandomTest, FindsWhatASearchByteByByteFinds) {
  std::minstd_rand random(1);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 64, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 3);
    std::vector<std::string> expected;
    for (size_t at = bytes.find("\0\0\1"s); at != std::string::npos;) {
      const size_t next = bytes.find("\0\0\1"s, at + 3);
      std::string unit = bytes.substr(at + 3, next == std::string::npos ? next : next - at - 3);
      unit.erase(unit.find_last_not_of('\0') + 1);
      if (!unit.empty()) expected.push_back(unit);
      at = next;
    }
    ASSERT_EQ(Split(bytes), expected) << "round " << round;
  }
}

TEST(NalUnitTest, TellsItsType) {
  const uint8_t idr[] = {0x65};
  EXPECT_EQ((NalUnit{idr, 1}).type(), kxrtc::H264::kNaluTypeIdr);
}

TEST(SampleTest, HasABigEndianLengthBeforeEachUnit) {
  const std::string payload(0x0102, 'x');
  const auto* data = reinterpret_cast<const uint8_t*>(payload.data());
  const std::vector<NalUnit> units = {{data, 0x0102}, {data, 1}};
  std::string sample(SampleSize(units), '\0');
  PutSample(units, reinterpret_cast<uint8_t*>(sample.data()));
  EXPECT_EQ(sample, "\0\0\1\2"s + payload + "\0\0\0\1x"s);
  EXPECT_EQ(SampleSize({}), 0u);
}

}  // namespace
}  // namespace kxrtc_host
