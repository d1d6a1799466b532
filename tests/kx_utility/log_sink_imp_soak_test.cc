// Many producers, every statement accounted for. Built twice: with a count for every run of the
// tests, and with the full one under the label "slow".
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/log_sink_imp.h"
#include "tests/testing/temp_dir.h"

namespace kx_utility {
namespace {

using ::kx_testing::ReadFile;
using ::kx_testing::TempDir;

constexpr int kProducers = 8;
constexpr int kMessages = KX_SOAK_MESSAGES;
constexpr int kMessagesBesideFlushes = 400000;
static_assert(kMessages % kProducers == 0 && kMessagesBesideFlushes % kProducers == 0);

// Whole lines only: number, time, thread, producer, the producer's count, a text whose length
// follows from the count, and nothing else.
struct ParsedLine {
  unsigned sequence = 0;
  unsigned thread_id = 0;
  int producer = -1;
  int count = -1;
};

std::string Text(int producer, int count) {
  std::string text = "producer " + std::to_string(producer) + " count " + std::to_string(count) +
                     " " + std::string(count % 97, static_cast<char>('a' + producer));
  return text + "\n";
}

bool Parse(const std::string& line, ParsedLine* parsed) {
  double time_s = 0;
  int text_begin = 0;
  if (std::sscanf(line.c_str(), "%u\t%lf\t[%u] %n", &parsed->sequence, &time_s, &parsed->thread_id,
                  &text_begin) != 3) {
    return false;
  }
  const std::string text = line.substr(text_begin);
  if (std::sscanf(text.c_str(), "producer %d count %d ", &parsed->producer, &parsed->count) != 2) {
    return false;
  }
  std::string expected = Text(parsed->producer, parsed->count);
  std::replace(expected.begin(), expected.end(), '\n', ' ');
  return text == expected + "\t";
}

void LogFromManyThreads(LogSinkImp* sink, int messages_each) {
  std::vector<std::thread> threads;
  for (int producer = 0; producer < kProducers; ++producer) {
    threads.emplace_back([sink, producer, messages_each] {
      for (int i = 0; i < messages_each; ++i) {
        sink->OnLogMessage(Text(producer, i).c_str(), LS_INFO);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void ExpectEveryMessageOnce(int messages) {
  const TempDir dir;
  const std::string path = dir.File("client.log");
  LogSinkImp sink;
  ASSERT_TRUE(sink.Initialize(path.c_str(), LS_INFO));
  LogFromManyThreads(&sink, messages / kProducers);
  sink.Finalize();

  std::vector<bool> seen(messages + 1, false);
  std::vector<int> next(kProducers, 0);
  std::vector<unsigned> thread_ids(kProducers, 0);
  std::FILE* file = std::fopen(path.c_str(), "rb");
  ASSERT_NE(nullptr, file);
  const auto close = std::unique_ptr<std::FILE, int (*)(std::FILE*)>(file, std::fclose);
  char buffer[1024];
  int lines = 0;
  for (; std::fgets(buffer, sizeof(buffer), file) != nullptr; ++lines) {
    std::string line = buffer;
    ASSERT_EQ('\n', line.back()) << line;
    line.pop_back();
    ParsedLine parsed;
    ASSERT_TRUE(Parse(line, &parsed)) << line;
    ASSERT_LE(parsed.sequence, static_cast<unsigned>(messages)) << line;
    ASSERT_FALSE(seen[parsed.sequence]) << "number twice: " << line;
    seen[parsed.sequence] = true;
    ASSERT_EQ(next[parsed.producer], parsed.count) << "each producer's order: " << line;
    if (next[parsed.producer]++ == 0) thread_ids[parsed.producer] = parsed.thread_id;
    ASSERT_EQ(thread_ids[parsed.producer], parsed.thread_id) << line;
  }
  EXPECT_EQ(messages, lines);
  EXPECT_EQ(messages, std::count(seen.begin() + 1, seen.end(), true)) << "numbers without a gap";
}

TEST(LogSinkImpSoakTest, EveryMessageOfManyThreadsIsInTheFileOnceWholeAndInOrder) {
  ExpectEveryMessageOnce(kMessages);
}

// As any code of the process may do it at any time, e.g. before it forks.
TEST(LogSinkImpSoakTest, EveryMessageIsInTheFileOnceWholeAndInOrderWhileAllStreamsAreFlushed) {
  std::atomic<bool> done{false};
  std::thread flusher([&done] {
    while (!done.load(std::memory_order_relaxed)) {
      (void)std::fflush(nullptr);
      Thread::Sleep(1);
    }
  });
  ExpectEveryMessageOnce(std::max(kMessages, kMessagesBesideFlushes));
  done.store(true, std::memory_order_relaxed);
  flusher.join();
}

}  // namespace
}  // namespace kx_utility
