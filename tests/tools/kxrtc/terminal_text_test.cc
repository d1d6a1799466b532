#include "tools/kxrtc/terminal_text.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using kxrtc_tool::TerminalText;

struct TextCase {
  const char* name;
  std::string text;
  std::string shown;
};

void PrintTo(const TextCase& text_case, std::ostream* out) { *out << text_case.name; }

class TerminalTextTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(TerminalTextTest, ShowsNothingThatControlsTheTerminal) {
  EXPECT_EQ(TerminalText(GetParam().text), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    All, TerminalTextTest,
    ::testing::Values(
        TextCase{"Plain", "a b~\\%s", "a b~\\%s"}, TextCase{"Empty", "", ""},
        TextCase{"Zero", std::string("a\0b", 3), "a\\x00b"},
        TextCase{"Escape", "\x1B[2J", "\\x1B[2J"}, TextCase{"LastC0", "\x1F", "\\x1F"},
        TextCase{"Delete", "\x7F", "\\x7F"}, TextCase{"NewLine", "a\nb\r\tc", "a\\nb\\x0D\\tc"},
        TextCase{"FirstC1", "\xC2\x80", "\\u0080"}, TextCase{"Csi", "\xC2\x9B", "\\u009B"},
        TextCase{"LastC1", "\xC2\x9F", "\\u009F"}, TextCase{"BehindC1", "\xC2\xA0", "\xC2\xA0"},
        TextCase{"RawC1",
                 "a\x9B"
                 "b",
                 "a\\x9Bb"},
        TextCase{"Letters", "\xC3\xBC\xE4\xBD\xA0\xF0\x9F\x98\x80",
                 "\xC3\xBC\xE4\xBD\xA0\xF0\x9F\x98\x80"},
        TextCase{"ArabicMark", "\xD8\x9C", "\\u061C"},
        TextCase{"Joiner", "\xE2\x80\x8D", "\xE2\x80\x8D"},
        TextCase{"FirstMark", "\xE2\x80\x8E", "\\u200E"},
        TextCase{"LineSeparator", "\xE2\x80\xA8", "\\u2028"},
        TextCase{"Override", "a\xE2\x80\xAE", "a\\u202E"},
        TextCase{"BehindOverride", "\xE2\x80\xAF", "\xE2\x80\xAF"},
        TextCase{"Isolate", "\xE2\x81\xA6\xE2\x81\xA9", "\\u2066\\u2069"},
        TextCase{"BehindIsolate", "\xE2\x81\xAA", "\xE2\x81\xAA"},
        TextCase{"CutShort", "\xE2\x80", "\\xE2\\x80"},
        TextCase{"TooLong", "\xC0\x9B\xE0\x82\x9B", "\\xC0\\x9B\\xE0\\x82\\x9B"},
        TextCase{"Surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
        TextCase{"BeyondUnicode", "\xF4\x90\x80\x80\xFF", "\\xF4\\x90\\x80\\x80\\xFF"}),
    [](const auto& test) { return test.param.name; });

// Whatever the bytes are, no control byte is left, and what is shown stays as it is.
TEST(TerminalTextTest, TakesEveryPairOfBytes) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string text = {static_cast<char>(first), static_cast<char>(second)};
      const std::string shown = TerminalText(text);
      for (const char c : shown) {
        ASSERT_TRUE(static_cast<unsigned char>(c) >= ' ' && c != 0x7F) << first << " " << second;
      }
      ASSERT_EQ(TerminalText(shown), shown) << first << " " << second;
    }
  }
}

}  // namespace
