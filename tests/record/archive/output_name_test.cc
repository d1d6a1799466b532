#include "record/archive/output_name.h"

#include <gmock/gmock.h>

#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace kxrtc_host {
namespace {

using testing::MatchesRegex;

struct NameCase {
  const char* name;
  std::string path;
  std::string expected;  // "#" stands for a digest.
};

void PrintTo(const NameCase& test, std::ostream* out) { *out << test.name; }

class OutputNameTest : public testing::TestWithParam<NameCase> {};

TEST_P(OutputNameTest, IsSafe) {
  std::string pattern;
  for (const char c : GetParam().expected) {
    pattern += c == '#' ? "-[0-9a-f]+" : (c == '.' ? "\\." : std::string(1, c));
  }
  const std::string output = OutputNames().Of(GetParam().path);
  EXPECT_THAT(output, MatchesRegex(pattern));
  std::istringstream parts(output);
  for (std::string part; std::getline(parts, part, '/');) {
    EXPECT_LE(part.size(), OutputNames::kMaxNameBytes);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Names, OutputNameTest,
    testing::Values(
        NameCase{"Plain", "monday", "monday.mp4"}, NameCase{"Tree", "a/b c/d", "a/b c/d.mp4"},
        NameCase{"Letters", "zo\xC3\xAB/\xE4\xBC\x9A", "zo\xC3\xAB/\xE4\xBC\x9A.mp4"},
        NameCase{"Dots", ".a/..b", ".a/..b.mp4"}, NameCase{"NewLine", "a\nb", "a_b#.mp4"},
        NameCase{"Escape", "a\x1B[31m/b", "a_[[]31m#/b.mp4"},
        NameCase{"Delete", "a\x7F", "a_#.mp4"},
        NameCase{"Override",
                 "a\xE2\x80\xAE"
                 "b",
                 "a_b#.mp4"},
        NameCase{"NotUtf8", "a\xFF\xFE", "a__#.mp4"},
        NameCase{"Windows", "<>:\"|?*\\", "________#.mp4"},
        NameCase{"FolderLikeAnMp4", "a.mp4/b", "a.mp4#/b.mp4"},
        NameCase{"LikeADigest", "a-0123456789abcdef", "a-0123456789abcdef#.mp4"},
        NameCase{"LikeNoDigest", "a-0123456789abcde", "a-0123456789abcde.mp4"},
        NameCase{"AtTheLimit", std::string(196, 'x'), std::string(196, 'x') + ".mp4"},
        NameCase{"BeyondTheLimit", std::string(197, 'x'), std::string(179, 'x') + "#.mp4"},
        NameCase{"CutBetweenCharacters",
                 std::string(178, 'x') + "\xE4\xBC\x9A" + "0123456789abcdef",
                 std::string(178, 'x') + "#.mp4"}),
    [](const auto& test) { return test.param.name; });

// All names of up to three of these characters, in trees of up to two levels.
TEST(OutputNamesTest, GivesNoOutputTwice) {
  const std::string characters = "a?*\n_";
  std::vector<std::string> names = {"a.mp4", "b.mp4"};
  for (const char one : characters) {
    names.emplace_back(1, one);
    for (const char two : characters) names.push_back({one, two});
  }
  OutputNames outputs;
  std::set<std::string> seen;
  std::set<std::string> folders;
  for (const std::string& outer : names) {
    EXPECT_TRUE(seen.insert(outputs.Of(outer)).second) << outer;
    for (const std::string& inner : names) {
      const std::string output = outputs.Of(outer + "/" + inner);
      EXPECT_TRUE(seen.insert(output).second) << outer << "/" << inner;
      folders.insert(output.substr(0, output.find('/')));
    }
  }
  EXPECT_EQ(seen.count(""), 0u);
  for (const std::string& folder : folders) EXPECT_EQ(seen.count(folder), 0u) << folder;
}

TEST(OutputNamesTest, IsTheSameForTheSame) {
  OutputNames outputs;
  EXPECT_EQ(outputs.Of("a?"), outputs.Of("a?"));
  EXPECT_EQ(outputs.Of("a?"), OutputNames().Of("a?"));
}

}  // namespace
}  // namespace kxrtc_host
