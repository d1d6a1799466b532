#include "host/shared/writer_status.h"

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

TEST(TimeTextTest, ReadsAsHoursMinutesSeconds) {
  EXPECT_EQ(TimeText(0), "0:00:00.000");
  EXPECT_EQ(TimeText(-1), "0:00:00.000");
  EXPECT_EQ(TimeText(3723456789), "1:02:03.456");
  EXPECT_EQ(TimeText(86400000000), "24:00:00.000");
}

}  // namespace
}  // namespace kxrtc_host
