// Statements that a process logs while it ends: from objects of its threads and static ones.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "kx_utility/log_sink_imp.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::ReadFile;
using ::kx_testing::TempDir;

constexpr int kStatements = 70000;  // More than the sink's queue has cells.
constexpr int kHosts = 3;

void LogMany() {
  for (int i = 0; i < kStatements; ++i) {
    LogMessage("", "LogMany", 1, LS_INFO) << "a statement that does not fit into a string " << i;
  }
}

// A host's object that logs as long as it lives.
struct Host {
  void Begin() { LogMany(); }
  ~Host() { LogMany(); }
};

// Outlives the hosts; tells what is in the file.
class Log {
 public:
  explicit Log(const std::string& path) : path_(path) {
    if (!sink_.Initialize(path_.c_str(), LS_INFO)) std::abort();
    LogMessage::SetLoggingTag("a tag that does not fit into a string object itself");
    LogMessage::AddLogSink(&sink_);
  }
  ~Log() {
    LogMessage::AddLogSink(nullptr);
    sink_.Finalize();
    int lines = 0;
    const std::string content = ReadFile(path_);
    for (const char c : content) lines += c == '\n' ? 1 : 0;
    std::fprintf(stderr, "%d lines\n", lines);
  }

 private:
  const std::string path_;
  LogSinkImp sink_;
};

void LogUntilTheEnd(const std::string& path) {
  static Log log(path);
  static Host static_host;
  // Made before the thread logs for the first time, hence destroyed after anything that logging
  // might have made for the thread.
  thread_local Host host;
  std::thread([] {
    thread_local Host host_of_thread;
    host_of_thread.Begin();
  }).join();
  static_host.Begin();
  host.Begin();
  std::exit(0);
}

TEST(LogAtExitTest, StatementsOfDestructorsOfThreadsAndOfTheProgramAreWritten) {
  const TempDir dir;
  EXPECT_EXIT(LogUntilTheEnd(dir.File("client.log")), ::testing::ExitedWithCode(0),
              "^" + std::to_string(2 * kHosts * kStatements) + " lines\n$");
}

}  // namespace
}  // namespace kx_utility
