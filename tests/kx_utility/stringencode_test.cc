#include "kx_utility/stringencode.h"

#include <gmock/gmock.h>

#include <cstring>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The digits.

TEST(HexDigitTest, EncodesZeroToFifteenInLowercase) {
  std::string digits;
  for (unsigned char value = 0; value < 16; ++value) digits += hex_encode(value);
  EXPECT_EQ("0123456789abcdef", digits);
}

TEST(HexDigitTest, AnswersALargerValueWithAnExclamationMarkOnPurpose) {
  ScopedLogCapture log;
  EXPECT_EQ('!', hex_encode(static_cast<unsigned char>(16)));
  EXPECT_EQ('!', hex_encode(static_cast<unsigned char>(255)));
  EXPECT_THAT(log.lines(),
              ElementsAre("WARNING val = 16 is not valid", "WARNING val = 255 is not valid"));
}

TEST(HexDigitTest, DecodesDigitsAndEveryLetterOnPurpose) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyz";
  for (int c = 0; c < 256; ++c) {
    const char digit = static_cast<char>(c);
    int expected = -1;
    if (c >= '0' && c <= '9') expected = c - '0';
    if (c >= 'A' && c <= 'Z') expected = c - 55;
    if (c >= 'a' && c <= 'z') expected = c - 87;
    unsigned char value = 77;
    EXPECT_EQ(expected != -1, hex_decode(digit, &value)) << c;
    EXPECT_EQ(expected != -1 ? expected : 77, value) << c;
  }
  unsigned char value = 0;
  EXPECT_TRUE(hex_decode('G', &value));
  EXPECT_EQ(16, value);
}

// Encoding into a buffer.

struct EncodeCase {
  const char* name;
  std::string source;
  char delimiter;
  size_t buffer_size;
  const char* expected;  // Null: 0 and nothing written.
};

class HexEncodeTest : public ::testing::TestWithParam<EncodeCase> {};

TEST_P(HexEncodeTest, WritesTwoDigitsPerByteAndATerminator) {
  const EncodeCase& given = GetParam();
  // Of exactly the given size, so that sanitizers see a write behind it.
  std::vector<char> buffer(given.buffer_size, '#');
  char nothing = '#';
  char* const out = buffer.empty() ? &nothing : buffer.data();
  const size_t length = hex_encode_with_delimiter(out, buffer.size(), given.source.data(),
                                                  given.source.size(), given.delimiter);
  if (given.expected == nullptr) {
    EXPECT_EQ(0u, length);
    EXPECT_EQ(std::vector<char>(given.buffer_size, '#'), buffer);
    EXPECT_EQ('#', nothing);
    return;
  }
  EXPECT_EQ(std::strlen(given.expected), length);
  EXPECT_STREQ(given.expected, out);
}

INSTANTIATE_TEST_SUITE_P(
    Buffers, HexEncodeTest,
    ::testing::Values(EncodeCase{"DelimitedThatFits", "\x0A\xFF", ':', 6, "0a:ff"},
                      EncodeCase{"DelimitedInMore", "\x0A\xFF", ':', 7, "0a:ff"},
                      EncodeCase{"DelimitedOneShort", "\x0A\xFF", ':', 5, nullptr},
                      EncodeCase{"PlainThatFits", "\x0A\xFF", 0, 5, "0aff"},
                      EncodeCase{"PlainOneShort", "\x0A\xFF", 0, 4, nullptr},
                      EncodeCase{"OneByteDelimited", "\x80", '-', 3, "80"},
                      EncodeCase{"OneByteDelimitedOneShort", "\x80", '-', 2, nullptr},
                      EncodeCase{"ZeroBytes", std::string(2, '\0'), 0, 5, "0000"},
                      EncodeCase{"NoBuffer", "a", 0, 0, nullptr},
                      EncodeCase{"EmptyPlain", "", 0, 1, ""},
                      EncodeCase{"EmptyDelimited", "", ':', 1, ""},
                      EncodeCase{"EmptyWithoutABuffer", "", ':', 0, nullptr}),
    [](const auto& param) { return param.param.name; });

TEST(HexEncodeBufferTest, WithoutDelimiterIsTheSame) {
  char buffer[5] = {};
  EXPECT_EQ(4u, hex_encode(buffer, sizeof(buffer), "\x0A\xFF", 2));
  EXPECT_STREQ("0aff", buffer);
  EXPECT_EQ(0u, hex_encode(buffer, 4, "\x0A\xFF", 2));
}

TEST(HexEncodeBufferTest, LogsANullBuffer) {
  ScopedLogCapture log;
  EXPECT_EQ(0u, hex_encode_with_delimiter(nullptr, 10, "a", 1, ':'));
  EXPECT_EQ(0u, hex_encode(nullptr, 10, "a", 1));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING buffer is nullptr", "WARNING buffer is nullptr"));
}

TEST(HexEncodeBufferTest, RefusesANullSourceAndALengthBeyondAllMemory) {
  char buffer[8] = "kept";
  EXPECT_EQ(0u, hex_encode(buffer, sizeof(buffer), nullptr, 2));
  EXPECT_EQ(0u, hex_encode(buffer, sizeof(buffer), "a", static_cast<size_t>(-1)));
  EXPECT_EQ(0u, hex_encode(buffer, sizeof(buffer), "a", static_cast<size_t>(-1) / 2 + 1));
  EXPECT_STREQ("kept", buffer);
}

// Encoding into a string.

TEST(HexEncodeStringTest, ReturnsTheEncoding) {
  ScopedLogCapture log;
  EXPECT_EQ("0aff", hex_encode(std::string("\x0A\xFF")));
  EXPECT_EQ("0a", hex_encode("\x0A\xFF", 1));
  EXPECT_EQ("0a ff 00", hex_encode_with_delimiter("\x0A\xFF", 3, ' '));
  EXPECT_EQ("0aff", hex_encode_with_delimiter("\x0A\xFF", 2, 0));
  EXPECT_EQ("", hex_encode(std::string()));
  EXPECT_EQ("", hex_encode(nullptr, 0));
  EXPECT_EQ("", hex_encode_with_delimiter("", 0, ':'));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(HexEncodeStringTest, LogsWhenSomethingGivesNothing) {
  ScopedLogCapture log;
  EXPECT_EQ("", hex_encode(nullptr, 3));
  EXPECT_EQ("", hex_encode_with_delimiter("a", static_cast<size_t>(-1), ':'));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING failed in hex_encode_with_delimiter",
                                       "WARNING failed in hex_encode_with_delimiter"));
}

// Decoding.

struct DecodeCase {
  const char* name;
  std::string source;
  char delimiter;
  size_t buffer_size;
  std::string expected;  // Empty: fails.
};

class HexDecodeTest : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(HexDecodeTest, TakesTwoCharactersPerByte) {
  const DecodeCase& given = GetParam();
  std::vector<char> buffer(given.buffer_size);
  char nothing = 0;
  const size_t size =
      hex_decode_with_delimiter(buffer.empty() ? &nothing : buffer.data(), buffer.size(),
                                given.source.data(), given.source.size(), given.delimiter);
  EXPECT_EQ(given.expected, std::string(buffer.data(), size));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, HexDecodeTest,
    ::testing::Values(
        DecodeCase{"Delimited", "0a:ff", ':', 2, "\x0A\xFF"},
        DecodeCase{"UpperCase", "0A:Ff", ':', 2, "\x0A\xFF"},
        DecodeCase{"TrailingDelimiter", "0a:ff:", ':', 9, ""},
        DecodeCase{"MissingDelimiter", "0aff", ':', 9, ""},
        DecodeCase{"WrongDelimiter", "0a-ff", ':', 9, ""},
        DecodeCase{"DelimiterFirst", ":0a", ':', 9, ""},
        DecodeCase{"DelimiterAndOneDigit", "0a:f", ':', 9, ""},
        DecodeCase{"DelimiterWhereNoneIsExpected", "0a:ff", 0, 9, ""},
        DecodeCase{"ADigitAsDelimiter", "0a1ff", '1', 2, "\x0A\xFF"},
        DecodeCase{"Plain", "0aff", 0, 2, "\x0A\xFF"}, DecodeCase{"OneByte", "7f", 0, 1, "\x7F"},
        DecodeCase{"OneByteWithADelimiterSet", "7f", ':', 1, "\x7F"},
        DecodeCase{"OddLength", "0af", 0, 9, ""}, DecodeCase{"OneCharacter", "0", 0, 9, ""},
        DecodeCase{"OneCharacterWithADelimiterSet", "0", ':', 9, ""},
        DecodeCase{"InvalidHighDigit", "/a", 0, 9, ""},
        DecodeCase{"InvalidLowDigit", "a@", 0, 9, ""},
        DecodeCase{"InvalidLaterDigit", "0a:f ", ':', 9, ""},
        DecodeCase{"LettersBeyondF", "0g", 0, 1, "\x10"},
        DecodeCase{"LettersBeyondFInTheHighDigit", "g1", 0, 1, "\x01"},
        DecodeCase{"BufferOneShort", "0aff", 0, 1, ""},
        DecodeCase{"DelimitedBufferOneShort", "0a:ff", ':', 1, ""},
        DecodeCase{"NoBuffer", "0a", 0, 0, ""}, DecodeCase{"EmptySource", "", 0, 9, ""},
        DecodeCase{"EmptySourceWithADelimiterSet", "", ':', 9, ""}),
    [](const auto& param) { return param.param.name; });

TEST(HexDecodeBufferTest, TheVariantsAreTheSame) {
  char buffer[2] = {};
  EXPECT_EQ(2u, hex_decode(buffer, 2, "0aff", 4));
  EXPECT_EQ(0, std::memcmp("\x0A\xFF", buffer, 2));
  EXPECT_EQ(2u, hex_decode(buffer, 2, std::string("1234")));
  EXPECT_EQ(0, std::memcmp("\x12\x34", buffer, 2));
  EXPECT_EQ(2u, hex_decode_with_delimiter(buffer, 2, std::string("56 78"), ' '));
  EXPECT_EQ(0, std::memcmp("\x56\x78", buffer, 2));
  EXPECT_EQ(0u, hex_decode(buffer, 2, std::string("1")));
}

TEST(HexDecodeBufferTest, LogsANullBuffer) {
  ScopedLogCapture log;
  EXPECT_EQ(0u, hex_decode_with_delimiter(nullptr, 2, "0a", 2, 0));
  EXPECT_EQ(0u, hex_decode(nullptr, 2, std::string("0a")));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING cbuffer is nullptr", "WARNING cbuffer is nullptr"));
}

TEST(HexDecodeBufferTest, RefusesANullSourceAndALengthBeyondAllMemory) {
  char buffer[2] = {};
  EXPECT_EQ(0u, hex_decode(buffer, 2, nullptr, 2));
  EXPECT_EQ(0u, hex_decode_with_delimiter(buffer, 2, "0a", static_cast<size_t>(-1), ':'));
}

TEST(HexRoundTripTest, DecodingGivesEveryByteBack) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  for (const char delimiter : {'\0', ':', ' '}) {
    const std::string text = hex_encode_with_delimiter(bytes.data(), bytes.size(), delimiter);
    std::string decoded(bytes.size(), '\0');
    EXPECT_EQ(bytes.size(),
              hex_decode_with_delimiter(&decoded[0], decoded.size(), text, delimiter));
    EXPECT_EQ(bytes, decoded);
  }
}

}  // namespace
}  // namespace kx_utility
