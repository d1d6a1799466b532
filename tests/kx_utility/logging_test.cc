#include "kx_utility/logging.h"

#include <gmock/gmock.h>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Restores the process-wide threshold and tag.
class LoggingTest : public ::testing::Test {
 protected:
  ~LoggingTest() override {
    LogMessage::LogToDebug(LS_NONE);
    LogMessage::SetLoggingTag("kx_utility");
  }
};

std::string StandardErrorOf(LoggingSeverity severity) {
  ::testing::internal::CaptureStderr();
  LogMessage("file.cc", "Function", 7, severity) << "text";
  return ::testing::internal::GetCapturedStderr();
}

TEST_F(LoggingTest, StartsEveryLineWithTagSeverityFunctionAndLine) {
  ScopedLogCapture log;
  LogMessage::SetLoggingTag("kxrtc");
  LogMessage("ignored.cc", "ReleaseSpeakerRecordTranscoder", 28, LS_INFO) << "In";
  LogMessage("", "f", -1, LS_ERROR) << "n = " << 5 << ", r = " << 0.5;
  EXPECT_THAT(log.raw(), ElementsAre("[kxrtc][INFO][ReleaseSpeakerRecordTranscoder][28]In\n",
                                     "[kxrtc][ERROR][f][-1]n = 5, r = 0.5\n"));
}

TEST_F(LoggingTest, WritesNothingBelowNoneToStandardErrorAtFirst) {
  EXPECT_EQ("", StandardErrorOf(LS_ERROR));
  EXPECT_EQ("[kx_utility][NONE][Function][7]text\n", StandardErrorOf(LS_NONE));
  EXPECT_EQ("[kx_utility][ERROR][Function][7]text\n", StandardErrorOf(LS_FORCED_ERROR));
}

TEST_F(LoggingTest, WritesStatementsOfAtLeastTheThresholdToStandardError) {
  LogMessage::LogToDebug(LS_WARNING);
  EXPECT_EQ("", StandardErrorOf(LS_INFO));
  EXPECT_EQ("[kx_utility][WARNING][Function][7]text\n", StandardErrorOf(LS_WARNING));
}

TEST_F(LoggingTest, TheThresholdDoesNotGateTheSink) {
  ScopedLogCapture log;
  LogMessage("", "f", 1, LS_SCOPE_DETAIL) << "detail";
  EXPECT_THAT(log.lines(), ElementsAre("DETAIL detail"));
}

TEST_F(LoggingTest, ReplacesTheSinkWithoutTellingTheFormerOne) {
  ScopedLogCapture first;
  {
    ScopedLogCapture second;
    EXPECT_EQ(&second, LogMessage::GetCurrentLogSink());
    LogMessage("", "f", 1, LS_INFO) << "to the second";
    EXPECT_THAT(second.lines(), ElementsAre("INFO to the second"));
  }
  EXPECT_EQ(nullptr, LogMessage::GetCurrentLogSink());
  LogMessage("", "f", 1, LS_INFO) << "to nobody";
  EXPECT_THAT(first.lines(), IsEmpty());
}

TEST_F(LoggingTest, ForwardsDumpScopeLogToTheSinkIfThereIsOne) {
  struct Sink : LogSink {
    void OnLogMessage(const char*, LoggingSeverity) override {}
    void SetDumpScopeLog(bool enable) override { calls.push_back(enable); }
    std::vector<bool> calls;
  } sink;
  LogMessage::DumpScopeLog(true);
  LogMessage::AddLogSink(&sink);
  LogMessage::DumpScopeLog(true);
  LogMessage::DumpScopeLog(false);
  LogMessage::AddLogSink(nullptr);
  EXPECT_THAT(sink.calls, ElementsAre(true, false));
}

TEST_F(LoggingTest, OutputToDebugIgnoresTheSeverity) {
  ::testing::internal::CaptureStderr();
  LogMessage::OutputToDebug("raw text", LS_SCOPE_DETAIL);
  EXPECT_EQ("raw text", ::testing::internal::GetCapturedStderr());
}

TEST_F(LoggingTest, CountsTimeFromProgramLoad) {
  const double first = LogMessage::DiffTime();
  EXPECT_GE(first, 0.0);
  EXPECT_GT(g_start_time_, int64_t{1500000000} * 1000000);
  EXPECT_GE(LogMessage::DiffTime(), first);
}

struct SeverityCase {
  int value;
  const char* name;
};

class SeverityNameTest : public ::testing::TestWithParam<SeverityCase> {};

TEST_P(SeverityNameTest, PrintsTheName) {
  EXPECT_STREQ(GetParam().name, SeverityName(static_cast<LoggingSeverity>(GetParam().value)));
}

INSTANTIATE_TEST_SUITE_P(Severities, SeverityNameTest,
                         ::testing::Values(SeverityCase{-2, "UNKNOWN"}, SeverityCase{-1, "DETAIL"},
                                           SeverityCase{0, "SENSITIVE"}, SeverityCase{1, "VERBOSE"},
                                           SeverityCase{2, "INFO"}, SeverityCase{3, "WARNING"},
                                           SeverityCase{4, "ERROR"}, SeverityCase{5, "NONE"},
                                           SeverityCase{7, "UNKNOWN"}, SeverityCase{101, "UNKNOWN"},
                                           SeverityCase{102, "INFO"}, SeverityCase{103, "WARNING"},
                                           SeverityCase{104, "ERROR"}));

TEST(FilenameFromPathTest, StartsBehindTheLastSeparatorOfEitherKind) {
  EXPECT_STREQ("c.log", FilenameFromPath("a\\b/c.log"));
  EXPECT_STREQ("c.log", FilenameFromPath("a/b\\c.log"));
  EXPECT_STREQ("c.log", FilenameFromPath("c.log"));
  EXPECT_STREQ("", FilenameFromPath("a/"));
  EXPECT_STREQ("", FilenameFromPath(""));
}

}  // namespace
}  // namespace kx_utility
