// What the H.264 rewriter's failed steps leave in the log.
#ifndef TESTS_TESTING_FAILED_EXPRESSIONS_H_
#define TESTS_TESTING_FAILED_EXPRESSIONS_H_

#include <string>
#include <vector>

#include "tests/testing/log_capture.h"

namespace kx_testing {

// The expressions of the logged " (line:<n>) FAILED: <expression>" lines; a line of another form,
// or whose number differs from the one of its record, stays whole.
inline std::vector<std::string> FailedExpressions(const ScopedLogCapture& log) {
  std::vector<std::string> result = log.lines();
  const std::vector<std::string> raw = log.raw();
  for (size_t i = 0; i < result.size(); ++i) {
    const size_t place = raw[i].find("] (line:");
    if (place == std::string::npos) continue;
    const size_t number = raw[i].rfind('[', place) + 1;
    const std::string head = "ERROR  (line:" + raw[i].substr(number, place - number) + ") FAILED: ";
    if (result[i].rfind(head, 0) == 0) result[i] = result[i].substr(head.size());
  }
  return result;
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_FAILED_EXPRESSIONS_H_
