#include "record/check/finding.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

TEST(FindingTest, GivesEachCodeANameOfItsOwn) {
  std::set<std::string> names;
  for (size_t i = 0; i < kFindingCodeCount; ++i) {
    names.insert(FindingCodeName(static_cast<FindingCode>(i)));
  }
  EXPECT_EQ(names.size(), kFindingCodeCount);
}

TEST(FindingTest, KeepsTheFirstOfEachCodeAndCountsAll) {
  FindingList findings;
  for (int i = 0; i < 1000; ++i) findings.Add(FindingCode::kDataHole, i, "hole");
  findings.Add(FindingCode::kIndexEmpty, std::nullopt, "empty");
  EXPECT_EQ(findings.Sorted().size(), FindingList::kKeptPerCode + 1);
  EXPECT_EQ(findings.count(FindingCode::kDataHole), 1000u);
}

TEST(FindingTest, SortsByTimeAndPutsThoseWithoutATimeFirst) {
  FindingList findings;
  findings.Add(FindingCode::kDataHole, 2, "second");
  findings.Add(FindingCode::kDataHole, -1, "first");
  findings.Add(FindingCode::kIndexEmpty, std::nullopt, "timeless");
  const auto sorted = findings.Sorted();
  EXPECT_EQ(sorted[0].text, "timeless");
  EXPECT_EQ(sorted[1].text, "first");
  EXPECT_EQ(sorted[2].text, "second");
}

TEST(FindingTest, JudgesByTheWorstSeverity) {
  FindingList findings;
  EXPECT_EQ(findings.Verdict(), Severity::kInfo);
  findings.Add(FindingCode::kDataHole, 0, "info");
  EXPECT_EQ(findings.Verdict(), Severity::kInfo);
  findings.Add(FindingCode::kDataOverlap, 0, "warning");
  EXPECT_EQ(findings.Verdict(), Severity::kWarning);
  findings.Add(FindingCode::kIndexEmpty, 0, "error");
  EXPECT_EQ(findings.Verdict(), Severity::kError);
}

TEST(FindingTest, StandsInTheDocumentWithItsSeverity) {
  const std::string document = kx_testing::ReadFile(KX_TOOL_RECORDS_DOCUMENT);
  for (size_t i = 0; i < kFindingCodeCount; ++i) {
    const auto code = static_cast<FindingCode>(i);
    const std::string row = std::string("| `") + FindingCodeName(code) + "` | " +
                            SeverityName(FindingCodeSeverity(code)) + " |";
    EXPECT_NE(document.find(row), std::string::npos) << row;
  }
}

}  // namespace
}  // namespace kxrtc_host
