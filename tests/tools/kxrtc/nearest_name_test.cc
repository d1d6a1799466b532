#include "tools/kxrtc/nearest_name.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kxrtc_tool {
namespace {

struct NearestCase {
  const char* name;
  const char* typed;
  const char* nearest;
};

class NearestNameTest : public testing::TestWithParam<NearestCase> {};

TEST_P(NearestNameTest, FindsWhatWasMeant) {
  const std::vector<std::string> names = {"transcode", "verify", "list", "info", "--json", "-j"};
  EXPECT_EQ(NearestName(GetParam().typed, names), GetParam().nearest);
}

INSTANTIATE_TEST_SUITE_P(Cases, NearestNameTest,
                         testing::Values(NearestCase{"Itself", "verify", "verify"},
                                         NearestCase{"Swapped", "lsit", "list"},
                                         NearestCase{"LeftOut", "vrify", "verify"},
                                         NearestCase{"Added", "infoo", "info"},
                                         NearestCase{"Replaced", "transcoda", "transcode"},
                                         NearestCase{"Two", "trnscoda", "transcode"},
                                         NearestCase{"TwoOfAShortName", "lost1", "list"},
                                         NearestCase{"TwoOfFourLetters", "lisp", "list"},
                                         NearestCase{"TooManyOfFour", "loop", ""},
                                         NearestCase{"Three", "transmute", ""},
                                         NearestCase{"Option", "--jsn", "--json"},
                                         NearestCase{"Letter", "-x", ""},
                                         NearestCase{"Empty", "", ""}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(NearestNameTest, LooksAtNoEndlessName) {
  EXPECT_EQ(NearestName(std::string(1000000, 'x'), {"list"}), "");
  EXPECT_EQ(DidYouMean("lst", {"list"}), "; did you mean list?");
  EXPECT_EQ(DidYouMean("bundle", {"list"}), "");
  EXPECT_EQ(Listed({"a"}), "a");
  EXPECT_EQ(Listed({"a", "b", "c"}), "a, b or c");
}

}  // namespace
}  // namespace kxrtc_tool
