#include "host/h264/parameter_sets.h"

#include <gmock/gmock.h>

#include <string>

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using std::string_literals::operator""s;

// Identifier codes: '1' is id 0, "010" is id 1, "00000100000" is id 31, one more is 32.
const std::string kSpsBaseline = "\x67\x42\xC0\x1E\x80"s;
const std::string kSpsBaselineId1 = "\x67\x42\xC0\x1E\x40"s;
// id 0, chroma_format_idc 1, bit depths 0 and 0: 1 010 1 1.
const std::string kSpsHigh = "\x67\x64\x00\x1E\xAC\x80"s;
// id 0, chroma_format_idc 3 (00100), one flag, bit depths 2 (011) and 1 (010).
const std::string kSpsHigh444 = "\x67\xF4\x00\x1E\x90\xD4"s;
const std::string kPps = "\x68\xCE\x38"s;

void Add(ParameterSets* sets, const std::string& unit) {
  const std::vector<uint8_t> bytes(unit.begin(), unit.end());
  sets->Add({bytes.data(), static_cast<uint32_t>(bytes.size())});
}

std::vector<std::string> Texts(const ParameterSets& sets) {
  std::vector<std::string> texts;
  for (const NalUnit& unit : sets.Units()) {
    texts.emplace_back(reinterpret_cast<const char*>(unit.data), unit.size);
  }
  return texts;
}

TEST(ParameterSetsTest, IsCompleteWithOneOfEachKind) {
  ParameterSets sets;
  Add(&sets, kPps);
  EXPECT_FALSE(sets.IsComplete());
  EXPECT_THAT(sets.DecoderConfiguration(), IsEmpty());
  Add(&sets, kSpsBaseline);
  EXPECT_TRUE(sets.IsComplete());
  EXPECT_THAT(Texts(sets), ElementsAre(kSpsBaseline, kPps));
  sets.Clear();
  EXPECT_FALSE(sets.IsComplete());
}

TEST(ParameterSetsTest, KeepsTheNewestOfEachId) {
  ParameterSets sets;
  Add(&sets, kSpsBaseline);
  Add(&sets, kSpsBaselineId1);
  Add(&sets, kSpsBaseline + "new");
  EXPECT_THAT(Texts(sets), ElementsAre(kSpsBaseline + "new", kSpsBaselineId1));
}

TEST(ParameterSetsTest, IgnoresWhatIsNoSet) {
  ParameterSets sets;
  Add(&sets, "\x65slice");
  Add(&sets, "\x67\x42\xC0\x1E"s);              // Ends before its id.
  Add(&sets, "\x67\x42\xC0\x1E\x04\x20"s);      // Id 32.
  Add(&sets, "\x67\x42\xC0\x1E\0\0\0\0\0\0"s);  // An id without end.
  Add(&sets, "\x68"s);
  Add(&sets, "\x68" + std::string(0x10000, 'x'));
  EXPECT_THAT(Texts(sets), IsEmpty());
}

TEST(ParameterSetsTest, DescribesABaselineStream) {
  ParameterSets sets;
  Add(&sets, kSpsBaseline);
  Add(&sets, kPps);
  EXPECT_THAT(sets.DecoderConfiguration(),
              ElementsAre(1, 0x42, 0xC0, 0x1E, 0xFF, 0xE1, 0, 5, 0x67, 0x42, 0xC0, 0x1E, 0x80, 1, 0,
                          3, 0x68, 0xCE, 0x38));
}

std::vector<uint8_t> Tail(const std::string& sps) {
  ParameterSets sets;
  Add(&sets, sps);
  Add(&sets, kPps);
  const std::vector<uint8_t> record = sets.DecoderConfiguration();
  return {record.end() - 4, record.end()};
}

TEST(ParameterSetsTest, HighProfilesTellTheirColourFormat) {
  EXPECT_THAT(Tail(kSpsHigh), ElementsAre(0xFD, 0xF8, 0xF8, 0));
  EXPECT_THAT(Tail(kSpsHigh444), ElementsAre(0xFF, 0xFA, 0xF9, 0));
}

}  // namespace
}  // namespace kxrtc_host
