// A log sink for which the system has no memory or no thread.
#include <gmock/gmock.h>

#include <string>

#include "kx_utility/log_sink_imp.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::FaultThreads;
using ::kx_testing::kThreadStartFaults;
using ::kx_testing::ReadFile;
using ::kx_testing::RunWithFault;
using ::kx_testing::TempDir;
using ::kx_testing::ThreadStartFault;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class LogSinkImpFaultTest : public ::testing::TestWithParam<ThreadStartFault> {
 protected:
  const TempDir dir_;
  const std::string path_ = dir_.File("client.log");
};

TEST_P(LogSinkImpFaultTest, AFailedInitializeLeavesNeitherFileNorWorker) {
  FaultRun run;
  int nth = 1;
  for (;; ++nth) {
    const size_t files = kx_testing::CountOpenFiles();
    LogSinkImp sink;
    bool initialized = false;
    run = RunWithFault(GetParam().fault, nth,
                       [&] { initialized = sink.Initialize(path_.c_str(), LS_INFO); });
    EXPECT_EQ("", run.thrown) << nth;
    EXPECT_EQ(!run.failed, initialized) << nth;
    if (!run.failed) break;
    EXPECT_EQ(files, kx_testing::CountOpenFiles());
    sink.OnLogMessage("between", LS_INFO);
    sink.FlushQueue();
    EXPECT_TRUE(sink.Finalize());
    EXPECT_EQ("", ReadFile(path_));
    ASSERT_TRUE(sink.Initialize(path_.c_str(), LS_INFO));
    sink.Finalize();
    EXPECT_THAT(ReadFile(path_), AllOf(StartsWith("00000001\t"), EndsWith("] between\t\n")));
  }
  EXPECT_GT(nth, 1);
}

INSTANTIATE_TEST_SUITE_P(Faults, LogSinkImpFaultTest, ::testing::ValuesIn(kThreadStartFaults),
                         [](const auto& test) { return test.param.name; });

TEST_F(LogSinkImpFaultTest, EachAllocationOfTheConstructorMayFail) {
  int nth = 1;
  while (RunWithFault(Fault::kAllocation, nth, [] { LogSinkImp sink; }).failed) ++nth;
  EXPECT_GT(nth, 1);
}

// On the thread that logs and on the worker.
TEST_F(LogSinkImpFaultTest, AStatementWithoutMemoryIsCutAndNotLost) {
  const std::string text(5000, 'x');
  int nth = 1;
  for (bool failed = true; failed; ++nth) {
    LogSinkImp sink;
    ASSERT_TRUE(sink.Initialize(path_.c_str(), LS_INFO));
    const FaultRun run = RunWithFault(
        Fault::kAllocation, nth,
        [&] {
          sink.OnLogMessage(text.c_str(), LS_INFO);
          sink.Finalize();
        },
        FaultThreads::kAll);
    failed = run.failed;
    EXPECT_EQ("", run.thrown);
    ASSERT_TRUE(sink.Initialize(dir_.File("second.log").c_str(), LS_INFO));
    sink.OnLogMessage("next", LS_INFO);
    sink.Finalize();
    EXPECT_THAT(ReadFile(path_),
                AllOf(StartsWith("00000001\t"), HasSubstr("] xxxxxxxxxx"), EndsWith("x\t\n")));
    EXPECT_EQ(failed, ReadFile(path_).size() < text.size()) << nth;
    EXPECT_THAT(ReadFile(dir_.File("second.log")),
                AllOf(StartsWith("00000002\t"), EndsWith("] next\t\n")));
  }
  EXPECT_GT(nth, 3) << "the copy and the line";
}

}  // namespace
}  // namespace kx_utility
