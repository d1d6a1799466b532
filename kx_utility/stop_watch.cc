#include "kx_utility/stop_watch.h"

#include <chrono>

namespace kx_utility {
namespace {

int64_t SystemNowUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

int64_t SteadyNowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

const WallClock sWallClock;

// The members of a watch are independent of each other for a concurrent reader.
template <typename T>
T Load(const std::atomic<T>& member) {
  return member.load(std::memory_order_relaxed);
}

template <typename T>
void Store(std::atomic<T>* member, T value) {
  member->store(value, std::memory_order_relaxed);
}

}  // namespace

StopWatch::StopWatch() : start_us_(SystemNowUs()), stop_us_(Load(start_us_)) {}

void StopWatch::Restart() {
  const int64_t now = SystemNowUs();
  Store(&start_us_, now);
  Store(&stop_us_, now);
  Store(&running_, true);
}

void StopWatch::Stop() {
  Store(&stop_us_, SystemNowUs());
  Store(&running_, false);
}

void StopWatch::Resume() {
  Store(&start_us_, Load(start_us_) + SystemNowUs() - Load(stop_us_));
  Store(&running_, true);
}

int64_t StopWatch::TimeInNanoseconds() const { return TimeInMicroseconds() * 1000; }

int64_t StopWatch::TimeInMicroseconds() const {
  return (Load(running_) ? SystemNowUs() : Load(stop_us_)) - Load(start_us_);
}

int64_t StopWatch::TimeInMilliseconds() const { return TimeInMicroseconds() / 1000; }

int64_t StopWatch::TimeInSeconds() const { return TimeInMicroseconds() / 1000000; }

double StopWatch::TimeInSecondsDouble() const {
  return static_cast<double>(SystemNowUs() - Load(Load(running_) ? start_us_ : stop_us_)) / 1e6;
}

const WallClock& GetStaticWallClock() { return sWallClock; }

void HighResolutionStopWatch::Restart() {
  Store(&start_ns_, SteadyNowNs());
  Store(&running_, true);
}

void HighResolutionStopWatch::Stop() {
  Store(&stop_ns_, SteadyNowNs());
  Store(&running_, false);
}

int64_t HighResolutionStopWatch::TimeInNanoseconds() const {
  return (Load(running_) ? SteadyNowNs() : Load(stop_ns_)) - Load(start_ns_);
}

int64_t HighResolutionStopWatch::TimeInMicroseconds() const { return TimeInNanoseconds() / 1000; }

int64_t HighResolutionStopWatch::TimeInMilliseconds() const {
  return TimeInNanoseconds() / 1000000;
}

int64_t HighResolutionStopWatch::TimeInSeconds() const { return TimeInNanoseconds() / 1000000000; }

double HighResolutionStopWatch::TimeInSecondsDouble() const {
  return static_cast<double>(SteadyNowNs() - Load(Load(running_) ? start_ns_ : stop_ns_)) / 1e9;
}

}  // namespace kx_utility
