#include "record/predict/copy_selection.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace kxrtc_host {
namespace {

// One letter for each access unit: k key frame with sets, i without them, d delta frame, s sets
// alone, b a key frame with sets that cannot be read, n nothing of it; a new attributes.
AccessUnitContents Contents(char letter) {
  AccessUnitContents contents;
  contents.slice = letter == 'k' || letter == 'i' || letter == 'd' || letter == 'b';
  contents.idr = letter == 'k' || letter == 'i' || letter == 'b';
  contents.sps = contents.pps = letter == 'k' || letter == 's' || letter == 'b';
  contents.usable_sps = contents.usable_pps = letter == 'k' || letter == 's';
  return contents;
}

// w written, s sets kept for the next picture, - left out.
std::string Choices(const std::string& letters) {
  CopySelection selection;
  std::string choices;
  for (const char letter : letters) {
    if (letter == 'a') {
      selection.OnAttributes();
      continue;
    }
    const CopySelection::Choice choice = selection.Choose(Contents(letter));
    choices += choice == CopySelection::Choice::kWrite
                   ? 'w'
                   : (choice == CopySelection::Choice::kKeepSets ? 's' : '-');
  }
  return choices;
}

struct ChoiceCase {
  const char* name;
  const char* letters;
  const char* choices;
};

void PrintTo(const ChoiceCase& choice_case, std::ostream* out) { *out << choice_case.name; }

class CopySelectionTest : public ::testing::TestWithParam<ChoiceCase> {};

TEST_P(CopySelectionTest, TakesWhatADecoderCanDecodeFromTheFile) {
  EXPECT_EQ(Choices(GetParam().letters), GetParam().choices);
}

INSTANTIATE_TEST_SUITE_P(All, CopySelectionTest,
                         ::testing::Values(ChoiceCase{"Healthy", "kdddkdd", "wwwwwww"},
                                           ChoiceCase{"BeforeTheKeyFrame", "ddkd", "--ww"},
                                           ChoiceCase{"NoSets", "idd", "---"},
                                           ChoiceCase{"SetsAlone", "sidd", "swww"},
                                           ChoiceCase{"SetsLater", "idsdid", "--s-ww"},
                                           ChoiceCase{"UnusableSets", "bd", "--"},
                                           ChoiceCase{"AttributesWithSets", "kdakd", "wwww"},
                                           ChoiceCase{"AttributesWithoutSets", "kdaidkd", "ww--ww"},
                                           ChoiceCase{"DeltaAfterAttributes", "kdad", "www"},
                                           ChoiceCase{"NoPicture", "knd", "w-w"}),
                         [](const auto& test) { return test.param.name; });

TEST(AccessUnitContentsTest, FindsWhatAnAccessUnitHas) {
  const std::string sps("\0\0\0\1\x67\x42\x00\x1E\x95", 9);
  const std::string pps("\0\0\1\x68\xCE\x3C\x80", 7);
  const std::string idr("\0\0\1\x65\x88\x84", 6);
  const auto contents = [](const std::string& bytes) {
    return ContentsOf(reinterpret_cast<const uint8_t*>(bytes.data()),
                      static_cast<uint32_t>(bytes.size()));
  };
  const AccessUnitContents all = contents(sps + pps + idr);
  EXPECT_TRUE(all.slice && all.idr && all.sps && all.pps && all.usable_sps && all.usable_pps);
  const AccessUnitContents delta = contents(std::string("\0\0\1\x41\x9A", 5));
  EXPECT_TRUE(delta.slice);
  EXPECT_FALSE(delta.idr || delta.sps || delta.pps);
  const AccessUnitContents cut = contents(std::string("\0\0\1\x67\x42\x00\x1E\0\0\0\1\x68", 12));
  EXPECT_TRUE(cut.sps && cut.pps);
  EXPECT_FALSE(cut.slice || cut.usable_sps || cut.usable_pps);
  EXPECT_FALSE(contents("").slice);
}

}  // namespace
}  // namespace kxrtc_host
