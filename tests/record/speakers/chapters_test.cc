#include "record/speakers/chapters.h"

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <utility>

#include "record/speakers/utf8.h"

namespace kxrtc_host {
namespace {

constexpr uint32_t kCamera = 2;
constexpr uint32_t kShare = 3;

struct ChaptersCase {
  const char* name;
  std::vector<SpeakerTurn> seen;
  std::vector<std::pair<int64_t, std::string>> chapters;
};

void PrintTo(const ChaptersCase& test, std::ostream* out) { *out << test.name; }

class ChaptersTest : public testing::TestWithParam<ChaptersCase> {};

PersonNames Names() {
  std::vector<Person> people(2);
  people[0].user_id = 1;
  people[0].name = "Ada";
  people[1].user_id = 2;
  people[1].name = "Ben";
  return PersonNames(people);
}

TEST_P(ChaptersTest, OneForEachChange) {
  std::vector<std::pair<int64_t, std::string>> chapters;
  for (const Chapter& chapter : ChaptersOf(GetParam().seen, Names(), 3000)) {
    chapters.emplace_back(chapter.start_us, chapter.title);
  }
  EXPECT_EQ(chapters, GetParam().chapters);
}

INSTANTIATE_TEST_SUITE_P(
    Turns, ChaptersTest,
    testing::Values(
        ChaptersCase{"None", {}, {}}, ChaptersCase{"NobodyAtAll", {{0, 90000, 0, 0}}, {}},
        ChaptersCase{"StartsAtTheBeginning",
                     {{0, 40, 0, 0}, {40, 9000, 1, kCamera}, {9000, 19000, 2, kCamera}},
                     {{0, "Ada"}, {9000, "Ben"}}},
        ChaptersCase{"MarksShares",
                     {{0, 5000, 1, kCamera}, {5000, 9000, 1, kShare}, {9000, 19000, 1, kCamera}},
                     {{0, "Ada"}, {5000, "Ada (desktop share)"}, {9000, "Ada"}}},
        ChaptersCase{"FoldsShortOnes",
                     {{0, 5000, 1, kCamera},
                      {5000, 7999, 2, kCamera},
                      {7999, 12000, 1, kCamera},
                      {12000, 15000, 2, kCamera}},
                     {{0, "Ada"}, {12000, "Ben"}}},
        ChaptersCase{"FoldsTheFirstForward",
                     {{0, 2000, 1, kCamera}, {2000, 4500, 2, kCamera}, {4500, 9000, 7, kCamera}},
                     {{0, "user 7"}}},
        ChaptersCase{"CamerasOfOnePersonAreOne",
                     {{0, 2000, 1, kCamera}, {2000, 4000, 1, 0}, {4000, 5000, 1, kCamera}},
                     {{0, "Ada"}}},
        ChaptersCase{"SaysWhereThereIsNoVideo",
                     {{0, 5000, 1, kCamera}, {5000, 9000, 0, 0}},
                     {{0, "Ada"}, {5000, "No video"}}},
        ChaptersCase{"OnlyShortOnes",
                     {{0, 100, 0, 0}, {100, 2000, 2, kShare}, {2000, 2500, 1, kCamera}},
                     {{0, "Ben (desktop share)"}}}),
    [](const auto& test) { return test.param.name; });

TEST(ChapterCountTest, HasALimit) {
  std::vector<SpeakerTurn> seen;
  for (uint32_t i = 0; i <= kMaxChapters; ++i) {
    seen.push_back({i * int64_t{1000}, (i + 1) * int64_t{1000}, 1 + i % 2, kCamera});
  }
  // All are short by the next limit, so they are one.
  EXPECT_EQ(ChaptersOf(seen, Names(), 0).size(), 1u);
  seen.pop_back();
  EXPECT_EQ(ChaptersOf(seen, Names(), 0).size(), kMaxChapters);
}

TEST(ChapterTitleTest, HasALimitAndIsText) {
  std::vector<Person> people(1);
  people[0].user_id = 1;
  for (int i = 0; i < 85; ++i) people[0].name += "\u20AC";
  people[0].name += "x";  // 256 bytes.
  for (const uint32_t type : {kCamera, kShare}) {
    const std::vector<Chapter> chapters =
        ChaptersOf({{0, 9000, 1, type}}, PersonNames(people), 3000);
    ASSERT_EQ(chapters.size(), 1u);
    EXPECT_LE(chapters[0].title.size(), kMaxChapterTitleBytes);
    EXPECT_GT(chapters[0].title.size(), kMaxChapterTitleBytes - 3);
    EXPECT_TRUE(IsUtf8(chapters[0].title));
  }
}

}  // namespace
}  // namespace kxrtc_host
