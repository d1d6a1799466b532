#include "record/parts/kept_parts.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace kxrtc_host {
namespace {

// "10-20>0 cut|": whole time, place in the file, and which of its ends are at a cut.
std::string TextOf(const KeptParts& parts) {
  std::string text;
  for (const KeptPart& part : parts.parts()) {
    const bool is_open = part.whole.to_us == kNoPartEnd;
    text += (text.empty() ? "" : " ") + std::string(part.follows_cut ? "|" : "") +
            std::to_string(part.whole.from_us) + "-" +
            (is_open ? "end" : std::to_string(part.whole.to_us)) + (part.precedes_cut ? "|" : "") +
            ">" + std::to_string(part.file_us);
  }
  return text;
}

struct PartsCase {
  const char* name;
  PartRequest request;
  const char* parts;
};

class KeptPartsTest : public testing::TestWithParam<PartsCase> {};

TEST_P(KeptPartsTest, AreWhatIsLeft) {
  EXPECT_EQ(TextOf(KeptParts(GetParam().request)), GetParam().parts);
}

PartRequest Request(int64_t from_us, int64_t to_us, std::vector<TimeRange> cuts) {
  PartRequest request;
  request.from_us = from_us;
  request.to_us = to_us;
  request.cuts = std::move(cuts);
  return request;
}

INSTANTIATE_TEST_SUITE_P(
    Requests, KeptPartsTest,
    testing::Values(
        PartsCase{"Whole", {}, "0-end>0"},
        PartsCase{"Start", Request(10, kNoPartEnd, {}), "10-end>0"},
        PartsCase{"End", Request(0, 20, {}), "0-20>0"},
        PartsCase{"Middle", Request(10, 20, {}), "10-20>0"},
        PartsCase{"Empty", Request(10, 10, {}), ""},
        PartsCase{"Backwards", Request(20, 10, {}), ""},
        PartsCase{"CutInside", Request(0, 30, {{10, 15}}), "0-10|>0 |15-30>10"},
        PartsCase{"CutAtTheStart", Request(0, kNoPartEnd, {{0, 15}}), "|15-end>0"},
        PartsCase{"CutAtTheEnd", Request(0, 20, {{15, 20}}), "0-15|>0"},
        PartsCase{"CutOpenAtTheEnd", Request(0, kNoPartEnd, {{15, kNoPartEnd}}), "0-15|>0"},
        PartsCase{"CutOverTheStart", Request(10, 20, {{5, 15}}), "|15-20>0"},
        PartsCase{"CutOverTheEnd", Request(10, 20, {{15, 25}}), "10-15|>0"},
        PartsCase{"CutRightBefore", Request(10, 20, {{5, 10}}), "|10-20>0"},
        PartsCase{"CutRightBehind", Request(10, 20, {{20, 25}}), "10-20|>0"},
        PartsCase{"CutFarBefore", Request(10, 20, {{2, 9}}), "10-20>0"},
        PartsCase{"CutFarBehind", Request(10, 20, {{21, 25}}), "10-20>0"},
        PartsCase{"Adjacent", Request(0, 30, {{15, 20}, {10, 15}}), "0-10|>0 |20-30>10"},
        PartsCase{"Overlapping", Request(0, 30, {{10, 18}, {12, 20}, {13, 14}}),
                  "0-10|>0 |20-30>10"},
        PartsCase{"Two", Request(5, 30, {{20, 25}, {10, 15}}), "5-10|>0 |15-20|>5 |25-30>10"},
        PartsCase{"EmptyCut", Request(0, 30, {{10, 10}, {12, 11}}), "0-30>0"},
        PartsCase{"AllCut", Request(10, 20, {{5, 15}, {15, 20}}), ""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(KeptPartsTimeTest, IsThatOfTheFile) {
  const KeptParts parts(Request(5, 30, {{10, 15}}));
  struct {
    int64_t whole_us;
    int64_t file_us;
    bool kept;
  } const kTimes[] = {{0, 0, false},  {4, 0, false},   {5, 0, true},     {9, 4, true},
                      {10, 5, false}, {14, 5, false},  {15, 5, true},    {20, 10, true},
                      {29, 19, true}, {30, 20, false}, {1000, 20, false}};
  for (const auto& time : kTimes) {
    EXPECT_EQ(parts.FileTime(time.whole_us), time.file_us) << time.whole_us;
    EXPECT_EQ(parts.Keeps(time.whole_us), time.kept) << time.whole_us;
  }
  EXPECT_EQ(parts.end_us(), 30);
  EXPECT_FALSE(parts.is_whole());
}

TEST(KeptPartsTimeTest, IsUnchangedWhereEverythingIsKept) {
  const KeptParts parts;
  EXPECT_TRUE(parts.is_whole());
  for (const int64_t time_us : {int64_t{-5}, int64_t{0}, int64_t{7}, kNoPartEnd + 1}) {
    EXPECT_EQ(parts.FileTime(time_us), time_us);
    EXPECT_TRUE(parts.Keeps(time_us));
  }
}

struct LeadInCase {
  const char* name;
  int64_t from_us;
  std::vector<TimeRange> cuts;
  int64_t lead_in_us;
  bool usable;
};

class LeadInTest : public testing::TestWithParam<LeadInCase> {};

TEST_P(LeadInTest, HasNothingOfACut) {
  PartRequest request = Request(GetParam().from_us, kNoPartEnd, GetParam().cuts);
  request.lead_in_us = GetParam().lead_in_us;
  EXPECT_EQ(KeptParts(request).lead_in_us(),
            GetParam().usable ? std::optional(GetParam().lead_in_us) : std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Requests, LeadInTest,
                         testing::Values(LeadInCase{"Plain", 20, {}, 10, true},
                                         LeadInCase{"AtTheStart", 20, {}, 20, false},
                                         LeadInCase{"CutInside", 20, {{12, 13}}, 10, false},
                                         LeadInCase{"CutUpToTheStart", 20, {{15, 20}}, 10, false},
                                         LeadInCase{"CutOverTheStart", 20, {{15, 25}}, 10, false},
                                         LeadInCase{"CutOfItsKeyFrame", 20, {{9, 11}}, 10, false},
                                         LeadInCase{"CutRightBefore", 20, {{5, 10}}, 10, true},
                                         LeadInCase{"CutBehind", 20, {{20, 25}}, 10, false},
                                         LeadInCase{"CutLater", 20, {{22, 25}}, 10, true}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace kxrtc_host
