// Counts the bytes that a program copies, which does not depend on the machine. Only for programs
// with copied_bytes.cc, which replaces memcpy() and memmove() of the whole program.
#ifndef TESTS_TESTING_COPIED_BYTES_H_
#define TESTS_TESTING_COPIED_BYTES_H_

#include <cstddef>
#include <functional>

namespace kx_testing {

// The bytes that all threads copy while `body` runs.
size_t CountCopiedBytes(const std::function<void()>& body);

}  // namespace kx_testing

#endif  // TESTS_TESTING_COPIED_BYTES_H_
