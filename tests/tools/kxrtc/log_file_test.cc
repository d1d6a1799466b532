#include "tools/kxrtc/log_file.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "kx_utility/failure_log.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_tool {
namespace {

using kx_testing::ReadFile;
using kx_testing::TempDir;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(LogFileTest, HoldsTheStatementsOfItsLevelWhenItIsClosed) {
  TempDir dir;
  LogFile file;
  ASSERT_TRUE(file.Open(dir.File("log"), kx_utility::LS_WARNING));
  kx_utility::LogFormatted(kx_utility::LS_INFO, kx_utility::Here(), "too small");
  kx_utility::LogFormatted(kx_utility::LS_WARNING, kx_utility::Here(), "large enough");
  file.Close();
  file.Close();
  kx_utility::LogFormatted(kx_utility::LS_ERROR, kx_utility::Here(), "too late");
  const std::string text = ReadFile(dir.File("log"));
  EXPECT_THAT(text, HasSubstr("large enough"));
  EXPECT_THAT(text, Not(HasSubstr("too")));
}

TEST(LogFileTest, APathThatCannotBeWrittenIsRefused) {
  TempDir dir;
  LogFile file;
  EXPECT_FALSE(file.Open(dir.File("missing/log"), kx_utility::LS_INFO));
  EXPECT_EQ(kx_utility::LogMessage::GetCurrentLogSink(), nullptr);
}

TEST(LogFileTest, ASignalWritesTheQueueBeforeItEndsTheProgram) {
  TempDir dir;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    LogFile file;
    if (!file.Open(dir.File("log"), kx_utility::LS_INFO)) _exit(1);
    for (int i = 0; i < 2000; ++i) {
      kx_utility::LogFormatted(kx_utility::LS_INFO, kx_utility::Here(), "line %d", i);
    }
    kill(getpid(), SIGINT);
    for (;;) pause();
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_THAT(ReadFile(dir.File("log")), HasSubstr("line 1999"));
}

}  // namespace
}  // namespace kxrtc_tool
