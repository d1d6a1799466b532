// Runs the command-line tool as a user does. Test programs that use it define KXRTC_PROGRAM, the
// path of the tool.
#ifndef TESTS_TESTING_KXRTC_PROGRAM_H_
#define TESTS_TESTING_KXRTC_PROGRAM_H_

#include <string>

#include "tests/testing/shell.h"

namespace kx_testing {

inline ShellResult RunKxrtc(const std::string& arguments) {
  return RunShell(Quoted(KXRTC_PROGRAM) + " " + arguments);
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_KXRTC_PROGRAM_H_
