#include "tools/kxrtc/progress_report.h"

#include <gmock/gmock.h>

namespace kxrtc_tool {
namespace {

using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

TEST(ProgressTextTest, TellsPercentTimeSpeedAndTimeLeft) {
  const Progress quarter = {25, 10000000, 40000000, 500000};
  EXPECT_EQ(ProgressText(quarter, 20),
            "[#####...............]  25%  0:00:10 of 0:00:40  20.0x  0:00:02 left");
  EXPECT_EQ(ProgressText(quarter, 0), " 25%  0:00:10 of 0:00:40  20.0x  0:00:02 left");
}

TEST(ProgressTextTest, LeavesOutWhatIsNotKnown) {
  EXPECT_EQ(ProgressText({7, 10000000, 0, 1000000}, 0), "  7%  0:00:10  10.0x");
  EXPECT_EQ(ProgressText({0, 0, 40000000, 0}, 0), "  0%  0:00:00 of 0:00:40  0.0x");
}

TEST(ChooseProgressStyleTest, JsonGoesBeforeQuiet) {
  EXPECT_EQ(ChooseProgressStyle(true, true), ProgressStyle::kJson);
  EXPECT_EQ(ChooseProgressStyle(true, false), ProgressStyle::kQuiet);
}

std::string ErrorsOf(ProgressStyle style, const std::vector<Progress>& steps) {
  CaptureStderr();
  ProgressReport report(style);
  for (const Progress& progress : steps) report.Show(progress);
  report.End();
  return GetCapturedStderr();
}

TEST(ProgressReportTest, ATerminalLineIsDrawnOverAndRemoved) {
  EXPECT_EQ(ErrorsOf(ProgressStyle::kTerminal, {{50, 1000000, 2000000, 1000000}}),
            "\r[##########..........]  50%  0:00:01 of 0:00:02  1.0x  0:00:01 left\033[K\r\033[K");
}

TEST(ProgressReportTest, LinesComeEveryTenthAndEveryTenSeconds) {
  const std::string lines = ErrorsOf(ProgressStyle::kLines, {{5, 1, 0, 1000000},
                                                             {12, 1, 0, 2000000},
                                                             {19, 1, 0, 3000000},
                                                             {20, 1, 0, 4000000},
                                                             {21, 1, 0, 14000000}});
  EXPECT_EQ(lines, " 12%  0:00:00  0.0x\n 20%  0:00:00  0.0x\n 21%  0:00:00  0.0x\n");
}

TEST(ProgressReportTest, QuietShowsNothing) {
  EXPECT_EQ(ErrorsOf(ProgressStyle::kQuiet, {{50, 1, 2, 20000000}}), "");
}

TEST(ProgressReportTest, JsonComesAtMostEverySecond) {
  CaptureStdout();
  ProgressReport report(ProgressStyle::kJson);
  report.Show({1, 1, 4, 500000});
  report.Show({50, 2, 4, 1000000});
  report.Show({51, 3, 4, 1500000});
  EXPECT_EQ(GetCapturedStdout(),
            "{\"event\":\"progress\",\"left_us\":1000000,\"media_us\":2,\"percent\":50,"
            "\"speed\":0.000002,\"total_us\":4,\"version\":1}\n");
}

}  // namespace
}  // namespace kxrtc_tool
