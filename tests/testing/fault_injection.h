// Failures of the system that a program cannot provoke by itself: an allocation and the start of a
// thread, each picked by number. A sweep over an operation is
//
//   FaultRun run;
//   for (int nth = 1; (run = RunWithFault(Fault::kAllocation, nth, operation)).failed; ++nth) {
//     ... what must hold after the failure; run.thrown says what left the operation
//   }
//   ... what must hold after the run that nothing disturbed
//
// Only for programs that link kx_fault_injection, which replaces operator new and delete and
// pthread_create of the whole program.
// Threads: RunWithFault() and CountAllocations() on one thread at a time.
#ifndef TESTS_TESTING_FAULT_INJECTION_H_
#define TESTS_TESTING_FAULT_INJECTION_H_

#include <functional>
#include <string>

namespace kx_testing {

enum class Fault {
  kAllocation,      // operator new throws std::bad_alloc; its nothrow forms give null.
  kThreadCreation,  // pthread_create answers EAGAIN, as a system without room for a thread.
};

// What may be missing when a thread is started, and how what the start throws begins: a table for
// parameterized tests.
struct ThreadStartFault {
  const char* name;
  Fault fault;
  const char* thrown;
};
inline constexpr ThreadStartFault kThreadStartFaults[] = {
    {"Memory", Fault::kAllocation, "std::bad_alloc"},
    {"Thread", Fault::kThreadCreation, "thread constructor failed"}};

// Which threads' allocations and thread creations count.
enum class FaultThreads { kCaller, kAll };

struct FaultRun {
  bool failed = false;  // False when `body` ended before it came to the n-th one.
  std::string thrown;   // what() of the exception that left `body`, else empty.
};

// Runs `body`; in it the `nth` allocation or thread creation, from 1, fails, and only that one.
FaultRun RunWithFault(Fault fault, int nth, const std::function<void()>& body,
                      FaultThreads threads = FaultThreads::kCaller);

// Runs `body` and returns how often the calling thread allocates in it.
int CountAllocations(const std::function<void()>& body);

}  // namespace kx_testing

#endif  // TESTS_TESTING_FAULT_INJECTION_H_
