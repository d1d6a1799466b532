// Statements for whose text there is no memory.
#include <gmock/gmock.h>

#include <string>

#include "kx_utility/logging.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::RunWithFault;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

// Takes a statement without memory of its own.
class LastStatement : public LogSink {
 public:
  LastStatement() {
    text.reserve(10000);
    LogMessage::AddLogSink(this);
  }
  ~LastStatement() override { LogMessage::AddLogSink(nullptr); }
  void OnLogMessage(const char* message, LoggingSeverity) override {
    text = message;
    ++count;
  }
  void SetDumpScopeLog(bool) override {}

  std::string text;
  int count = 0;
};

template <typename Insert>
void ExpectCutStatements(const std::string& whole, Insert insert) {
  LastStatement last;
  FaultRun run;
  int nth = 1;
  for (;; ++nth) {
    last.count = 0;
    run = RunWithFault(Fault::kAllocation, nth, [&] {
      LogMessage message("", "f", 1, LS_INFO);
      insert(message);
    });
    EXPECT_EQ("", run.thrown);
    EXPECT_EQ(1, last.count);
    EXPECT_THAT(last.text, AllOf(StartsWith("[kx_utility][INFO][f][1]xxx"), EndsWith("\n")));
    if (!run.failed) break;
    EXPECT_LT(last.text.size(), whole.size() + 1) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_EQ(whole + "\n", last.text);
}

TEST(LoggingFaultTest, ALongStatementWithoutMemoryIsCut) {
  const std::string prefix = "[kx_utility][INFO][f][1]";
  const std::string text(600, 'x');
  ExpectCutStatements(prefix + text + text + "7", [&](auto& log) { log << text << text << 7; });
  for (size_t size = 508; size < 515; ++size) {  // About where the newline and the zero have room.
    const std::string end(size - prefix.size(), 'x');
    SCOPED_TRACE(size);
    if (size > 510) ExpectCutStatements(prefix + end, [&](auto& log) { log << end; });
  }
}

TEST(LoggingFaultTest, AStatementOfUsualLengthNeedsNoMemory) {
  LastStatement last;
  const std::string text(450, 'x');
  EXPECT_EQ(0, kx_testing::CountAllocations(
                   [&] { LogMessage("", "f", 1, LS_INFO) << text << 5 << 'c' << "literal"; }));
  EXPECT_THAT(last.text, EndsWith("x5cliteral\n"));
}

TEST(LoggingFaultTest, AStatementWhoseCopyOrSinkFindsNoMemoryIsLost) {
  LastStatement last;
  const auto log = [] {
    LogMessage message("", "f", 1, LS_INFO);
    message << "12345";
    message.stream().seekp(-2,
                           std::ios::end);  // Text stands behind the position, which needs a copy.
  };
  EXPECT_FALSE(RunWithFault(Fault::kAllocation, 2, log).failed);
  EXPECT_EQ("[kx_utility][INFO][f][1]123\n5", last.text);
  EXPECT_EQ("", RunWithFault(Fault::kAllocation, 1, log).thrown);
  EXPECT_EQ(1, last.count);
  const kx_testing::ScopedLogCapture allocating_sink;
  EXPECT_EQ("", RunWithFault(Fault::kAllocation, 1, [] {
                  LogMessage("", "f", 1, LS_INFO) << "text";
                }).thrown);
  EXPECT_TRUE(allocating_sink.lines().empty());
}

}  // namespace
}  // namespace kx_utility
