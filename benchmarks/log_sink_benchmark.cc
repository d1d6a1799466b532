// A faster log costs the threads that log, those that carry media, less of their time, and lets a
// client log more before its threads wait for the file.
//
// EndToEnd: statements per second from the first call to the closed file. Caller: what one call
// costs the thread that logs, median and 99th percentile in nanoseconds, in bursts that fit into
// the queue; Caller<Nothing> is what the clock itself costs, included everywhere.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kx_utility/log_sink_imp.h"
#include "kx_utility/logging.h"

#ifdef KXRTC_BENCHMARK_PEERS
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kLogFile[] = "log_sink_benchmark.log";
constexpr char kText[] =
    "[kxrtc][INFO][OnEncodedFrame][412]ssrc = 3141592653, key frame = 0, size = 14142";
constexpr int kStatements = 400000;  // Of one end-to-end run, by all producers together.
constexpr int kBurst = 32768;        // Half of the queue.

class Nothing {
 public:
  void Log(int i) { benchmark::DoNotOptimize(i); }
  void Drain() {}
  void Close() {}
};

// The sink of this library, given a ready text.
class OwnSink {
 public:
  OwnSink() { (void)sink_.Initialize(kLogFile, kx_utility::LS_INFO); }
  void Log(int /*i*/) { sink_.OnLogMessage(kText, kx_utility::LS_INFO); }
  void Drain() { sink_.FlushQueue(); }
  void Close() { sink_.Finalize(); }

 protected:
  kx_utility::LogSinkImp sink_;
};

// A whole statement into it.
class OwnStatement : public OwnSink {
 public:
  OwnStatement() { kx_utility::LogMessage::AddLogSink(&sink_); }
  ~OwnStatement() { kx_utility::LogMessage::AddLogSink(nullptr); }
  void Log(int i) {
    kx_utility::LogMessage(__FILE__, "OnEncodedFrame", __LINE__, kx_utility::LS_INFO)
        << "ssrc = " << 3141592653U << ", key frame = " << 0 << ", size = " << i;
  }
};

#ifdef KXRTC_BENCHMARK_PEERS
class SpdlogSink {
 public:
  explicit SpdlogSink(const char* pattern = "%E.%f\t[%t] %v\t")
      : pool_(std::make_shared<spdlog::details::thread_pool>(65536, 1)),
        logger_(std::make_shared<spdlog::async_logger>(
            "log", std::make_shared<spdlog::sinks::basic_file_sink_mt>(kLogFile, true), pool_,
            spdlog::async_overflow_policy::block)) {
    logger_->set_pattern(pattern);
  }
  void Log(int /*i*/) { logger_->log(spdlog::level::info, spdlog::string_view_t(kText)); }
  void Drain() {
    while (pool_->queue_size() != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  void Close() {
    logger_.reset();
    pool_.reset();
  }

 protected:
  std::shared_ptr<spdlog::details::thread_pool> pool_;
  std::shared_ptr<spdlog::async_logger> logger_;
};

class SpdlogStatement : public SpdlogSink {
 public:
  SpdlogStatement() : SpdlogSink("%E.%f\t[%t] [kxrtc][%l][%!][%#]%v\t") {}
  void Log(int i) {
    logger_->log(spdlog::source_loc{__FILE__, __LINE__, "OnEncodedFrame"}, spdlog::level::info,
                 "ssrc = {}, key frame = {}, size = {}", 3141592653U, 0, i);
  }
};
#endif

// Runs `body(producer)` on so many threads, which start together.
template <typename Body>
void RunTogether(int producers, Body body) {
  std::atomic<int> waiting{producers};
  std::vector<std::thread> threads;
  for (int producer = 0; producer < producers; ++producer) {
    threads.emplace_back([&waiting, &body, producer] {
      waiting.fetch_sub(1);
      while (waiting.load() != 0) std::this_thread::yield();
      body(producer);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

template <typename Logger>
void EndToEnd(benchmark::State& state) {
  const int producers = static_cast<int>(state.range(0));
  const int each = kStatements / producers;
  for (auto _ : state) {
    auto logger = std::make_unique<Logger>();
    const auto start = Clock::now();
    RunTogether(producers, [&](int) {
      for (int i = 0; i < each; ++i) logger->Log(i);
    });
    logger->Close();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  state.SetItemsProcessed(state.iterations() * each * producers);
  std::remove(kLogFile);
}

template <typename Logger>
void Caller(benchmark::State& state) {
  const int producers = static_cast<int>(state.range(0));
  const int each = kBurst / producers;
  std::vector<std::vector<int64_t>> costs(producers);
  Logger logger;
  for (auto _ : state) {
    const auto start = Clock::now();
    RunTogether(producers, [&](int producer) {
      std::vector<int64_t>& mine = costs[producer];
      for (int i = 0; i < each; ++i) {
        const auto before = Clock::now();
        logger.Log(i);
        mine.push_back((Clock::now() - before).count());
      }
    });
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    logger.Drain();
  }
  logger.Close();
  std::remove(kLogFile);
  std::vector<int64_t> all;
  for (const std::vector<int64_t>& mine : costs) all.insert(all.end(), mine.begin(), mine.end());
  std::sort(all.begin(), all.end());
  state.counters["median_ns"] = static_cast<double>(all[all.size() / 2]);
  state.counters["p99_ns"] = static_cast<double>(all[all.size() / 100 * 99]);
  state.SetItemsProcessed(state.iterations() * each * producers);
}

#define KX_LOG_BENCHMARK(Logger)       \
  BENCHMARK_TEMPLATE(EndToEnd, Logger) \
      ->Arg(1)                         \
      ->Arg(2)                         \
      ->Arg(4)                         \
      ->UseManualTime()                \
      ->Unit(benchmark::kMillisecond); \
  BENCHMARK_TEMPLATE(Caller, Logger)   \
      ->Arg(1)                         \
      ->Arg(2)                         \
      ->Arg(4)                         \
      ->UseManualTime()                \
      ->Unit(benchmark::kMillisecond)

BENCHMARK_TEMPLATE(Caller, Nothing)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);
KX_LOG_BENCHMARK(OwnSink);
#ifdef KXRTC_BENCHMARK_PEERS
KX_LOG_BENCHMARK(SpdlogSink);
#endif
KX_LOG_BENCHMARK(OwnStatement);
#ifdef KXRTC_BENCHMARK_PEERS
KX_LOG_BENCHMARK(SpdlogStatement);
#endif
#undef KX_LOG_BENCHMARK

}  // namespace
