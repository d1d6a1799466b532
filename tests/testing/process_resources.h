// What the test program holds of the system's resources at this moment.
#ifndef TESTS_TESTING_PROCESS_RESOURCES_H_
#define TESTS_TESTING_PROCESS_RESOURCES_H_

#include <cstddef>
#include <functional>

namespace kx_testing {

size_t CountOpenFiles();
size_t CountThreads();
size_t ResidentBytes();

// How many calls that read from files the process makes while `body` runs, and how much they read;
// and how many that write to them. Those of the counting itself are among them.
size_t CountReadCalls(const std::function<void()>& body);
size_t CountReadBytes(const std::function<void()>& body);
size_t CountWriteCalls(const std::function<void()>& body);

}  // namespace kx_testing

#endif  // TESTS_TESTING_PROCESS_RESOURCES_H_
