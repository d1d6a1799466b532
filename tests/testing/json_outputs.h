// Keeps what kxrtc prints with --json, so that it can be validated when the tests have ended
// (tests/docs/schema).
#ifndef TESTS_TESTING_JSON_OUTPUTS_H_
#define TESTS_TESTING_JSON_OUTPUTS_H_

#include <string>

namespace kx_testing {

// As tests/testing/json_outputs.py does: into the folder of the environment variable
// KXRTC_JSON_OUTPUTS, if there is one and `command` asks for JSON.
void KeepJsonOutput(const std::string& command, const std::string& output);

}  // namespace kx_testing

#endif  // TESTS_TESTING_JSON_OUTPUTS_H_
