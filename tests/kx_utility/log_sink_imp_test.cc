#include "kx_utility/log_sink_imp.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>

#include "kx_utility/event.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/run_on_threads.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::ReadFile;
using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

constexpr int kQueueCapacity = 65536;
constexpr auto kDeadline = std::chrono::seconds(20);

std::vector<std::string> Lines(const std::string& path) {
  std::vector<std::string> lines;
  std::istringstream content(ReadFile(path));
  for (std::string line; std::getline(content, line);) lines.push_back(line);
  return lines;
}

// The lines of a file of the sink as "<number> <statement>".
std::vector<std::string> NumberedTexts(const std::string& path) {
  std::vector<std::string> texts;
  for (const std::string& line : Lines(path)) {
    unsigned number = 0;
    double time_s = 0;
    unsigned thread_id = 0;
    int text_begin = 0;
    EXPECT_EQ(
        3, std::sscanf(line.c_str(), "%u\t%lf\t[%u] %n", &number, &time_s, &thread_id, &text_begin))
        << line;
    EXPECT_EQ('\t', line.back()) << line;
    const std::string text = line.substr(text_begin, line.size() - text_begin - 1);
    texts.push_back(line.substr(0, line.find('\t')) + " " + text);
  }
  return texts;
}

template <typename Condition>
bool WaitFor(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    Thread::Sleep(1);
  }
  return true;
}

class LogSinkImpTest : public ::testing::Test {
 protected:
  const TempDir dir_;
  const std::string path_ = dir_.File("client.log");
  LogSinkImp sink_;
};

// The line.

TEST_F(LogSinkImpTest, WritesNumberTimeThreadAndStatement) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("[kxrtc][INFO][f][1]In\n", LS_INFO);
  EXPECT_TRUE(sink_.Finalize());
  const std::string id = std::to_string(Thread::CurrentThreadId());
  EXPECT_THAT(ReadFile(path_), MatchesRegex("00000001\t[0-9]+\\.[0-9]+\t\\[" + id +
                                            "\\] \\[kxrtc\\]\\[INFO\\]\\[f\\]\\[1\\]In \t\n"));
}

TEST_F(LogSinkImpTest, WritesAMessageOfSeveralLinesAsOne) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("a\n\nb\n", LS_INFO);
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000001 a  b "));
}

TEST_F(LogSinkImpTest, WritesLongMessagesWhole) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  const std::string text(1 << 20, 'x');
  sink_.OnLogMessage("short", LS_INFO);
  sink_.OnLogMessage(text.c_str(), LS_INFO);
  sink_.OnLogMessage("", LS_INFO);
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000001 short", "00000002 " + text, "00000003 "));
}

TEST_F(LogSinkImpTest, CountsTimeFromInitialize) {
  Thread::Sleep(30);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("text", LS_INFO);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  sink_.Finalize();
  const double time_s = std::stod(ReadFile(path_).substr(9));
  EXPECT_GE(time_s, 0);
  EXPECT_LE(time_s, elapsed.count() + 0.001);
}

// Which statements.

TEST_F(LogSinkImpTest, DropsStatementsBelowTheMinimumWithoutANumber) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_WARNING));
  sink_.OnLogMessage("detail", LS_SCOPE_DETAIL);
  sink_.OnLogMessage("info", LS_INFO);
  sink_.OnLogMessage("warning", LS_WARNING);
  sink_.OnLogMessage("info", LS_INFO);
  sink_.OnLogMessage("error", LS_ERROR);
  sink_.OnLogMessage("forced", LS_FORCED_INFO);
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(path_),
              ElementsAre("00000001 warning", "00000002 error", "00000003 forced"));
}

TEST_F(LogSinkImpTest, NumbersGoOnInTheNextFile) {
  const std::string second = dir_.File("second.log");
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("a", LS_INFO);
  sink_.Finalize();
  ASSERT_TRUE(sink_.Initialize(second.c_str(), LS_ERROR));
  sink_.OnLogMessage("b", LS_INFO);
  sink_.OnLogMessage("c", LS_ERROR);
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO)) << "finalizes first";
  sink_.OnLogMessage("d", LS_INFO);
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(second), ElementsAre("00000002 c"));
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000003 d")) << "an existing file is truncated";
}

TEST_F(LogSinkImpTest, SetDumpScopeLogDoesNothingOnPurpose) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.SetDumpScopeLog(true);
  sink_.OnLogMessage("detail", LS_SCOPE_DETAIL);
  sink_.SetDumpScopeLog(false);
  sink_.Finalize();
  EXPECT_EQ("", ReadFile(path_));
}

TEST_F(LogSinkImpTest, ReceivesTheStatementsOfTheProcessWhenRegistered) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  LogMessage::AddLogSink(&sink_);
  LogMessage("", "f", 3, LS_INFO) << "count = " << 5;
  LogMessage::AddLogSink(nullptr);
  LogMessage("", "f", 4, LS_INFO) << "to nobody";
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000001 [kx_utility][INFO][f][3]count = 5 "));
}

// Writing and flushing.

TEST_F(LogSinkImpTest, FinalizeWritesEverythingQueued) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  for (int i = 0; i < 10000; ++i) sink_.OnLogMessage("text", LS_INFO);
  sink_.Finalize();
  EXPECT_THAT(Lines(path_), SizeIs(10000));
}

TEST_F(LogSinkImpTest, ShowsAStatementInTheFileWithinSecondsWithoutFinalize) {
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("text", LS_INFO);
  sink_.FlushQueue();
  const std::string content = ReadFile(path_);
  if (std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) {
    EXPECT_EQ("", content) << "flushed no more often than once a second";
  }
  EXPECT_TRUE(WaitFor([this] { return !ReadFile(path_).empty(); }));
}

TEST_F(LogSinkImpTest, TheDestructorWritesEverythingQueued) {
  {
    LogSinkImp sink;
    ASSERT_TRUE(sink.Initialize(path_.c_str(), LS_INFO));
    sink.OnLogMessage("text", LS_INFO);
  }
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000001 text"));
}

TEST_F(LogSinkImpTest, ProducersWaitForRoomInAFullQueueAndLoseNothing) {
  const std::string fifo = dir_.File("fifo");
  ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
  // A reader that does not read yet: the worker stands in a write, and the queue fills up.
  std::atomic<bool> read{false};
  std::string received;
  std::thread reader([&] {
    std::FILE* file = std::fopen(fifo.c_str(), "rb");
    while (!read.load(std::memory_order_acquire)) Thread::Sleep(1);
    char block[65536];
    for (size_t got; (got = std::fread(block, 1, sizeof(block), file)) > 0;) {
      received.append(block, got);
    }
    std::fclose(file);
  });
  ASSERT_TRUE(sink_.Initialize(fifo.c_str(), LS_INFO));
  // More than the queue, the stream's buffer and the pipe hold.
  constexpr int kCount = kQueueCapacity + 20000;
  std::atomic<int> offered{0};
  std::thread producer([&] {
    for (int i = 0; i < kCount; ++i) {
      sink_.OnLogMessage("text", LS_INFO);
      offered.store(i + 1, std::memory_order_release);
    }
  });
  ASSERT_TRUE(WaitFor([&] { return offered.load(std::memory_order_acquire) >= kQueueCapacity; }));
  EXPECT_LT(offered.load(std::memory_order_acquire), kCount);
  read.store(true, std::memory_order_release);
  producer.join();
  sink_.Finalize();
  reader.join();
  EXPECT_EQ(kCount, std::count(received.begin(), received.end(), '\n'));
}

// Without a worker.

TEST_F(LogSinkImpTest, InitializeRefusesAPathThatCannotBeOpened) {
  for (const std::string& path : {dir_.File("missing/client.log"), dir_.path(), std::string()}) {
    EXPECT_FALSE(sink_.Initialize(path.c_str(), LS_INFO)) << path;
  }
  EXPECT_FALSE(sink_.Initialize(nullptr, LS_INFO));
  EXPECT_TRUE(sink_.Finalize());
}

TEST_F(LogSinkImpTest, KeepsWhatArrivesBeforeInitializeForTheFile) {
  sink_.OnLogMessage("early", LS_INFO);
  sink_.OnLogMessage("detail", LS_VERBOSE);
  EXPECT_TRUE(sink_.Finalize()) << "nobody would ever empty the queue";
  sink_.FlushQueue();
  EXPECT_FALSE(sink_.Initialize(dir_.File("missing/client.log").c_str(), LS_INFO));
  sink_.OnLogMessage("between", LS_INFO);
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("running", LS_INFO);
  sink_.Finalize();
  sink_.OnLogMessage("late", LS_INFO);
  EXPECT_THAT(NumberedTexts(path_),
              ElementsAre("00000001 early", "00000002 between", "00000003 running"));
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000004 late"));
}

TEST_F(LogSinkImpTest, GivesUpWhatAFullQueueWithoutAWorkerCannotTakeWithoutANumber) {
  for (int i = 0; i < kQueueCapacity + 5; ++i) sink_.OnLogMessage("early", LS_INFO);
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.FlushQueue();
  sink_.OnLogMessage("running", LS_INFO);
  sink_.Finalize();
  const std::vector<std::string> texts = NumberedTexts(path_);
  ASSERT_THAT(texts, SizeIs(kQueueCapacity + 1));
  EXPECT_EQ("00065536 early", texts[kQueueCapacity - 1]);
  EXPECT_EQ("00065537 running", texts[kQueueCapacity]);
}

TEST_F(LogSinkImpTest, NumbersHaveNoGapWhereManyThreadsFindTheQueueFullWithoutAWorker) {
  kx_testing::RunOnThreads(4, [this] {
    for (int i = 0; i < kQueueCapacity / 2; ++i) sink_.OnLogMessage("early", LS_INFO);
  });
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.Finalize();
  std::vector<std::string> texts = NumberedTexts(path_);
  std::sort(texts.begin(), texts.end());
  ASSERT_THAT(texts, SizeIs(kQueueCapacity));
  EXPECT_EQ("00000001 early", texts.front());
  EXPECT_EQ("00065536 early", texts.back());
  EXPECT_EQ(texts.end(), std::adjacent_find(texts.begin(), texts.end()));
}

TEST_F(LogSinkImpTest, MayBeFinalizedAtAnyTime) {
  EXPECT_TRUE(sink_.Finalize());
  EXPECT_TRUE(sink_.Finalize());
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  EXPECT_TRUE(sink_.Finalize());
  EXPECT_TRUE(sink_.Finalize());
}

// The file from outside.

TEST_F(LogSinkImpTest, GoesOnWithoutTheLinesThatAFullDiskRefuses) {
  ASSERT_TRUE(sink_.Initialize("/dev/full", LS_INFO));
  const std::string text(200, 'x');
  for (int i = 0; i < 20000; ++i) sink_.OnLogMessage(text.c_str(), LS_INFO);
  EXPECT_TRUE(sink_.Finalize());
  EXPECT_TRUE(sink_.has_lost_text());
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("text", LS_INFO);
  sink_.Finalize();
  EXPECT_FALSE(sink_.has_lost_text());
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00020001 text"));
}

TEST_F(LogSinkImpTest, TellsALastLineThatTheDiskRefuses) {
  ASSERT_TRUE(sink_.Initialize("/dev/full", LS_INFO));
  sink_.OnLogMessage("text", LS_INFO);
  EXPECT_TRUE(sink_.Finalize());
  EXPECT_TRUE(sink_.has_lost_text());
}

TEST_F(LogSinkImpTest, WritesOnWhenADiskThatWasFullHasRoomAgain) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  const std::string text(200, 'x');
  {
    const kx_testing::ScopedFileSizeLimit limit(100000);
    for (int i = 0; i < 2000; ++i) sink_.OnLogMessage(text.c_str(), LS_INFO);
    sink_.FlushQueue();
    EXPECT_TRUE(WaitFor([this] { return std::filesystem::file_size(path_) == 100000; }));
  }
  for (int i = 0; i < 2000; ++i) sink_.OnLogMessage("room again", LS_INFO);
  sink_.Finalize();
  EXPECT_TRUE(sink_.has_lost_text());
  const std::vector<std::string> lines = Lines(path_);
  EXPECT_THAT(lines.front(), HasSubstr("00000001\t"));
  EXPECT_THAT(lines.back(), AllOf(HasSubstr("00004000\t"), HasSubstr("room again")));
}

TEST_F(LogSinkImpTest, StartsOverWithoutAHoleWhenTheFileIsTruncatedFromOutside) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("old", LS_INFO);
  ASSERT_TRUE(WaitFor([this] { return !ReadFile(path_).empty(); }));
  std::filesystem::copy_file(path_, dir_.File("client.log.1"));
  std::filesystem::resize_file(path_, 0);
  sink_.OnLogMessage("new", LS_INFO);
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(dir_.File("client.log.1")), ElementsAre("00000001 old"));
  EXPECT_THAT(NumberedTexts(path_), ElementsAre("00000002 new"));
}

TEST_F(LogSinkImpTest, WritesOnIntoAFileThatWasRenamed) {
  ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
  sink_.OnLogMessage("a", LS_INFO);
  std::filesystem::rename(path_, dir_.File("renamed"));
  WriteFile(path_, "other");
  sink_.OnLogMessage("b", LS_INFO);
  sink_.Finalize();
  EXPECT_THAT(NumberedTexts(dir_.File("renamed")), ElementsAre("00000001 a", "00000002 b"));
  EXPECT_EQ("other", ReadFile(path_));
}

// Other threads.

TEST_F(LogSinkImpTest, MayBeDetachedAndFinalizedWhileOtherThreadsLog) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&stop] {
      while (!stop.load(std::memory_order_acquire)) {
        LogMessage("", "f", 1, LS_INFO) << "text";
        Thread::TryYield();
      }
    });
  }
  for (int round = 0; round < 20; ++round) {
    ASSERT_TRUE(sink_.Initialize(path_.c_str(), LS_INFO));
    LogMessage::AddLogSink(&sink_);
    Thread::Sleep(1);
    LogMessage::AddLogSink(nullptr);
    sink_.Finalize();
    (void)NumberedTexts(path_);
  }
  stop.store(true, std::memory_order_release);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace kx_utility
