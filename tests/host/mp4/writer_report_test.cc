#include "host/mp4/writer_report.h"

#include <gmock/gmock.h>

#include "tests/testing/log_capture.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;

TEST(WriterReportTest, KeepsTheFirstFailureAndLogsIt) {
  kx_testing::ScopedLogCapture log;
  WriterReport report;
  report.Warn("first a warning");
  EXPECT_FALSE(report.failed());
  EXPECT_FALSE(report.Fail(WriterFailure::kOutput, "the disk is full"));
  EXPECT_FALSE(report.Fail(WriterFailure::kVideo, "a consequence"));
  EXPECT_TRUE(report.failed());
  EXPECT_EQ(report.status.failure, WriterFailure::kOutput);
  EXPECT_EQ(report.status.failure_text, "the disk is full");
  EXPECT_THAT(report.status.warnings, ElementsAre("first a warning"));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING first a warning", "ERROR the disk is full"));
}

TEST(WriterReportTest, RaisesAndCountsTimesThatAreNotLater) {
  WriterReport report;
  EXPECT_EQ(report.Raised(0, -1), 0);
  EXPECT_EQ(report.Raised(8, 7), 8);
  EXPECT_EQ(report.status.timestamps_raised, 0u);
  EXPECT_EQ(report.Raised(7, 7), 8);
  EXPECT_EQ(report.Raised(-3, 7), 8);
  EXPECT_EQ(report.status.timestamps_raised, 2u);
}

}  // namespace
}  // namespace kxrtc_host
