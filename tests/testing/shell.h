// Runs programs that nobody here wrote, to make or to check media.
#ifndef TESTS_TESTING_SHELL_H_
#define TESTS_TESTING_SHELL_H_

#include <string>

namespace kx_testing {

struct ShellResult {
  int exit_status = -1;  // 128 + n after signal n.
  std::string output;    // Standard output.
  std::string errors;    // Standard error.
};

// Runs `command` by the shell and waits for it. Keeps the JSON that kxrtc prints, for its schemas.
ShellResult RunShell(const std::string& command);

// The same with a pipe without a reader as standard output.
ShellResult RunShellWithoutReader(const std::string& command);

// `text` as one word of a shell command.
std::string Quoted(const std::string& text);

}  // namespace kx_testing

#endif  // TESTS_TESTING_SHELL_H_
