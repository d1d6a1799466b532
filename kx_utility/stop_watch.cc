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

}  // namespace

StopWatch::StopWatch() : start_us_(SystemNowUs()), stop_us_(start_us_) {}

void StopWatch::Restart() {
  running_ = true;
  start_us_ = stop_us_ = SystemNowUs();
}

void StopWatch::Stop() {
  stop_us_ = SystemNowUs();
  running_ = false;
}

void StopWatch::Resume() {
  start_us_ += SystemNowUs() - stop_us_;
  running_ = true;
}

int64_t StopWatch::TimeInNanoseconds() const { return TimeInMicroseconds() * 1000; }

int64_t StopWatch::TimeInMicroseconds() const {
  return (running_ ? SystemNowUs() : stop_us_) - start_us_;
}

int64_t StopWatch::TimeInMilliseconds() const { return TimeInMicroseconds() / 1000; }

int64_t StopWatch::TimeInSeconds() const { return TimeInMicroseconds() / 1000000; }

double StopWatch::TimeInSecondsDouble() const {
  return static_cast<double>(SystemNowUs() - (running_ ? start_us_ : stop_us_)) / 1e6;
}

const WallClock& GetStaticWallClock() { return sWallClock; }

void HighResolutionStopWatch::Restart() {
  running_ = true;
  start_ns_ = SteadyNowNs();
}

void HighResolutionStopWatch::Stop() {
  stop_ns_ = SteadyNowNs();
  running_ = false;
}

int64_t HighResolutionStopWatch::TimeInNanoseconds() const {
  return (running_ ? SteadyNowNs() : stop_ns_) - start_ns_;
}

int64_t HighResolutionStopWatch::TimeInMicroseconds() const { return TimeInNanoseconds() / 1000; }

int64_t HighResolutionStopWatch::TimeInMilliseconds() const {
  return TimeInNanoseconds() / 1000000;
}

int64_t HighResolutionStopWatch::TimeInSeconds() const { return TimeInNanoseconds() / 1000000000; }

double HighResolutionStopWatch::TimeInSecondsDouble() const {
  return static_cast<double>(SteadyNowNs() - (running_ ? start_ns_ : stop_ns_)) / 1e9;
}

}  // namespace kx_utility
