#include "record/speakers/utf8.h"

#include <gtest/gtest.h>

#include <iterator>
#include <ostream>
#include <string>

namespace kxrtc_host {
namespace {

struct Utf8Case {
  const char* name;
  std::string text;
  bool is_utf8;
};

void PrintTo(const Utf8Case& utf8_case, std::ostream* out) { *out << utf8_case.name; }

class Utf8Test : public testing::TestWithParam<Utf8Case> {};

TEST_P(Utf8Test, TellsTextFromOtherBytes) {
  EXPECT_EQ(IsUtf8(GetParam().text), GetParam().is_utf8);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Utf8Test,
    testing::Values(Utf8Case{"Empty", "", true}, Utf8Case{"Ascii", "Ada\n\x7F", true},
                    Utf8Case{"TwoBytes", "\xC2\x80\xDF\xBF", true},
                    Utf8Case{"ThreeBytes", "\xE0\xA0\x80\xED\x9F\xBF\xEF\xBF\xBF", true},
                    Utf8Case{"FourBytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", true},
                    Utf8Case{"LongerThanNeeded", "\xC0\xAF", false},
                    Utf8Case{"LongerThanNeededOfThree", "\xE0\x9F\xBF", false},
                    Utf8Case{"LongerThanNeededOfFour", "\xF0\x8F\xBF\xBF", false},
                    Utf8Case{"Surrogate", "\xED\xA0\x80", false},
                    Utf8Case{"BehindTheLastCharacter", "\xF4\x90\x80\x80", false},
                    Utf8Case{"NoLead", "\x80", false}, Utf8Case{"CutOff", "a\xE2\x82", false},
                    Utf8Case{"NoContinuation", "\xC3(", false}, Utf8Case{"Latin1", "Zo\xEB", false},
                    Utf8Case{"NeverALead", "\xF5\x80\x80\x80", false}),
    [](const auto& test) { return test.param.name; });

TEST(Utf8CharacterTest, HasItsNumber) {
  const std::string text = "a\xC3\xAB\xE2\x82\xAC\xF0\x9F\x98\x80";
  uint32_t character = 0;
  EXPECT_EQ(ReadUtf8Character(text, 0, &character), 1u);
  EXPECT_EQ(character, uint32_t{'a'});
  EXPECT_EQ(ReadUtf8Character(text, 1, &character), 2u);
  EXPECT_EQ(character, 0xEBu);
  EXPECT_EQ(ReadUtf8Character(text, 3, &character), 3u);
  EXPECT_EQ(character, 0x20ACu);
  EXPECT_EQ(ReadUtf8Character(text, 6, &character), 4u);
  EXPECT_EQ(character, 0x1F600u);
}

TEST(OneLineTest, KeepsTextAndDropsControls) {
  const struct {
    const char* text;
    const char* line;
  } kCases[] = {
      {"", ""},
      {" Ada  L. ", "Ada L."},
      {"a\nb\tc\x01"
       "d\x7F",
       "a b c d"},
      {"\u202Eevil\u202C \u2066x\u2069\u2028", "evil x"},
      {"\u0085\u061C\u200E", ""},
      {"Zo\u00EB \U0001F600", "Zo\u00EB \U0001F600"},
  };
  for (const auto& test : kCases) EXPECT_EQ(OneLine(test.text), test.line);
}

TEST(CutUtf8Test, KeepsWholeCharacters) {
  const std::string text = "a\u20ACb";  // 1, 3 and 1 byte.
  const char* const kCut[] = {"", "a", "a", "a", "a\u20AC", "a\u20ACb", "a\u20ACb"};
  for (size_t bytes = 0; bytes < std::size(kCut); ++bytes) {
    EXPECT_EQ(CutUtf8(text, bytes), kCut[bytes]) << bytes;
  }
}

}  // namespace
}  // namespace kxrtc_host
