// Stopwatches for log times, progress and the timestamps of a recording.
// Threads: a watch may be read from any thread. A reading beside a change is that of the watch
// before, after or amid the change, never a data race. Changes come from one thread at a time.
#ifndef KX_UTILITY_STOP_WATCH_H_
#define KX_UTILITY_STOP_WATCH_H_

#include <atomic>
#include <cstdint>

#include "kx_utility/export.h"

namespace kx_utility {

// Measures on the system (wall) clock, in microseconds. Runs from construction on.
// Elapsed is now, or the stop time when stopped, minus the start; divisions truncate toward zero.
class KX_EXPORT StopWatch {
 public:
  StopWatch();

  void Restart();  // Runs from now on.
  void Stop();
  void Resume();  // Runs again, the time since Stop() excluded.

  int64_t TimeInNanoseconds() const;
  int64_t TimeInMicroseconds() const;
  int64_t TimeInMilliseconds() const;
  int64_t TimeInSeconds() const;

  // Intended: on a stopped watch this is the time since Stop(), not the elapsed span.
  double TimeInSecondsDouble() const;

 private:
  std::atomic<bool> running_{true};
  std::atomic<int64_t> start_us_;
  std::atomic<int64_t> stop_us_;
};

// A StopWatch that cannot be stopped from outside.
class KX_EXPORT WallClock {
 public:
  int64_t TimeInMilliseconds() const { return watch_.TimeInMilliseconds(); }
  int64_t TimeInSeconds() const { return watch_.TimeInSeconds(); }

 private:
  StopWatch watch_;
};

// The clock of the process, started when the library is loaded.
KX_EXPORT const WallClock& GetStaticWallClock();

// Measures on the monotonic clock, in nanoseconds. Stands at zero until Restart().
class KX_EXPORT HighResolutionStopWatch {
 public:
  void Restart();
  void Stop();

  int64_t TimeInNanoseconds() const;
  int64_t TimeInMicroseconds() const;
  int64_t TimeInMilliseconds() const;
  int64_t TimeInSeconds() const;
  double TimeInSecondsDouble() const;  // Intended: as in StopWatch.

 private:
  std::atomic<bool> running_{false};
  std::atomic<int64_t> start_ns_{0};
  std::atomic<int64_t> stop_ns_{0};
};

}  // namespace kx_utility

#endif  // KX_UTILITY_STOP_WATCH_H_
