// kxrtc, the command-line tool: makes, inspects and transcodes speaker records (docs/tool.md).
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tools/kxrtc/command_line.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/help_text.h"
#include "tools/kxrtc/log_file.h"
#include "tools/kxrtc/path_options.h"
#include "tools/kxrtc/standard_output.h"
#include "tools/kxrtc/usage_errors.h"

namespace {

int Run(int argc, char** argv) {
  int exit_status = kxrtc_tool::kExitOk;
  kxrtc_tool::LogFile log_file;
  kxrtc_tool::PathOptions paths;
  CLI::App app(kxrtc_tool::kProgramDescription, "kxrtc");
  kxrtc_tool::AddSubcommands(app, &paths, &exit_status);
  kxrtc_tool::AddLogOptions(app, paths, &log_file);

  std::vector<std::string> arguments = kxrtc_tool::AsHelpOption({argv + 1, argv + argc});
  const bool json = kxrtc_tool::AsksForJson(arguments);
  const std::string first = arguments.empty() ? "-" : arguments.front();
  if (first[0] != '-' && !kxrtc_tool::IsSubcommand(app, first)) {
    return kxrtc_tool::RefuseUsage("", kxrtc_tool::NoSubcommandText(app, first), json);
  }
  try {
    std::reverse(arguments.begin(), arguments.end());  // As CLI11 takes them.
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    const bool is_failure = error.get_exit_code() != 0;  // Not the request for a help text.
    if (is_failure) {
      return kxrtc_tool::RefuseUsage(kxrtc_tool::SubcommandOf(app),
                                     kxrtc_tool::UsageErrorText(app, error), json);
    }
    (void)app.exit(error);  // Prints that text.
  }
  if (!log_file.Close()) {
    const auto failed = Fail(kxrtc_tool::kExitOutputFailed,
                             "the log in " + log_file.path() + " is incomplete: cannot write it");
    if (exit_status == kxrtc_tool::kExitOk) exit_status = failed;
  }
  return kxrtc_tool::EndStandardOutput(static_cast<kxrtc_tool::ExitStatus>(exit_status));
}

}  // namespace

int main(int argc, char** argv) {
  // Beyond a file size limit, writes fail as on a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  kxrtc_tool::LetWritesWithoutReaderFail();
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc&) {
    return Fail(kxrtc_tool::kExitFailure, "there is not enough memory");
  } catch (const std::exception& error) {
    return Fail(kxrtc_tool::kExitFailure, error.what());
  }
}
