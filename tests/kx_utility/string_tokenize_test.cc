#include "kx_utility/string_tokenize.h"

#include <gmock/gmock.h>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct TokenizeCase {
  const char* name;
  const char* text;
  const char* delimiter;
  std::vector<std::string> pieces;
};

class StringTokenizeTest : public ::testing::TestWithParam<TokenizeCase> {};

TEST_P(StringTokenizeTest, ReturnsThePiecesBetweenTheMatches) {
  EXPECT_EQ(GetParam().pieces, StringTokenize(GetParam().text, GetParam().delimiter));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, StringTokenizeTest,
    ::testing::Values(
        TokenizeCase{"KeepsEmptyPiecesBetweenAndBeforeMatches", ",a,,b,", ",", {"", "a", "", "b"}},
        TokenizeCase{"NothingFollowsATrailingMatch", "a,", ",", {"a"}},
        TokenizeCase{"OnlyAMatch", ",", ",", {""}},
        TokenizeCase{"OnlyMatches", ",,,", ",", {"", "", ""}},
        TokenizeCase{"NoMatch", "a b", ",", {"a b"}}, TokenizeCase{"EmptyText", "", ",", {""}},
        TokenizeCase{"AClassOfCharacters", "a1b22c", "[0-9]+", {"a", "b", "c"}},
        TokenizeCase{"SeveralDelimiters", "a;b,c", "[;,]", {"a", "b", "c"}},
        TokenizeCase{"AnEscapedDelimiter", "1.2.3", "\\.", {"1", "2", "3"}},
        TokenizeCase{"AGroupIsNoPiece", "a--b-c", "(-)+", {"a", "b", "c"}}),
    [](const auto& param) { return param.param.name; });

TEST(StringTokenizeErrorTest, LogsADelimiterThatIsNoRegularExpression) {
  ScopedLogCapture log;
  EXPECT_THAT(StringTokenize("a,b", "["), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("ERROR failed in std::regex"));
}

}  // namespace
}  // namespace kx_utility
