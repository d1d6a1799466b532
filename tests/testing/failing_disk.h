// Real failures of the system's files, without a disk that is really full or broken.
#ifndef TESTS_TESTING_FAILING_DISK_H_
#define TESTS_TESTING_FAILING_DISK_H_

#include <signal.h>
#include <sys/resource.h>

#include <cstdint>
#include <functional>

namespace kx_testing {

// While it lives, no file of this process grows past `bytes`: a write that would is short and fails
// from there on.
class ScopedFileSizeLimit {
 public:
  explicit ScopedFileSizeLimit(uint64_t bytes);
  ~ScopedFileSizeLimit();
  ScopedFileSizeLimit(const ScopedFileSizeLimit&) = delete;
  ScopedFileSizeLimit& operator=(const ScopedFileSizeLimit&) = delete;

 private:
  rlimit former_limit_{};
  struct sigaction former_action_ {};
};

// Runs `body` on a thread of its own; every seek to a place other than the start of a file fails
// there, and on the threads that `body` starts. False, nothing was run, when the system does not
// offer this.
bool RunWithFailingSeeks(const std::function<void()>& body);

// A system call that fails.
struct FailingCall {
  long number = 0;  // SYS_...
  int error_number = 0;
  // Only where this argument (from 0) has one of these bits; -1: always.
  int argument = -1;
  uint32_t bits = 0;
};

// Runs `body` as above; each such call fails, also in the processes that `body` starts. False:
// nothing was run.
bool RunWithFailingCall(const FailingCall& call, const std::function<void()>& body);

}  // namespace kx_testing

#endif  // TESTS_TESTING_FAILING_DISK_H_
