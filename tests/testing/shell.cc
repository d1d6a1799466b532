#include "tests/testing/shell.h"

#include <sys/wait.h>

#include <cstdio>

#include "tests/testing/json_outputs.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {
ShellResult RunShell(const std::string& command) {
  TempDir dir;
  ShellResult result;
  const std::string line = "{ " + command + "\n} 2>" + dir.File("errors");
  FILE* pipe = popen(line.c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[65536];
  size_t count = 0;
  while ((count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) result.output.append(buffer, count);
  const int status = pclose(pipe);
  result.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.errors = ReadFile(dir.File("errors"));
  KeepJsonOutput(command, result.output);
  return result;
}

ShellResult RunShellWithoutReader(const std::string& command) {
  TempDir dir;
  const std::string pipe = Quoted(dir.File("pipe"));
  return RunShell("mkfifo " + pipe + " && exec 3<>" + pipe + " 4>" + pipe + " 3<&- && " + command +
                  " >&4");
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace kx_testing
