// kxrtc, the command-line tool: makes, inspects and transcodes speaker records (docs/tool.md).
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/help_text.h"
#include "tools/kxrtc/log_file.h"
#include "tools/kxrtc/named_values.h"
#include "tools/kxrtc/path_options.h"
#include "tools/kxrtc/standard_output.h"
#include "tools/kxrtc/usage_errors.h"

namespace {

constexpr char kFooter[] =
    "Examples:\n"
    "  kxrtc record talk.json ~/records/monday       play a scripted conference and record it\n"
    "  kxrtc transcode ~/records/monday monday.mp4   make an MP4 of a record\n"
    "  kxrtc estimate ~/records/monday               how large the MP4 will be\n"
    "  kxrtc info ~/records/monday                   what a record contains\n"
    "  kxrtc verify ~/records/monday                 what is wrong with it\n"
    "  kxrtc repair ~/records/monday new-folder      repair a damaged record\n"
    "  kxrtc report ~/records/monday monday.html     make an HTML page about it\n"
    "  kxrtc thumbnails ~/records/monday pictures    make a poster and a storyboard for players\n"
    "  kxrtc bundle ~/records/monday monday.tar.gz   pack it for support, without private content\n"
    "  kxrtc list ~/records                          find all records below a folder\n"
    "  kxrtc h264 ~/records/monday/SpeakeRecord.264  list the NAL units of a stream\n"
    "  kxrtc encoders                                which video encoders work on this machine\n";

constexpr char kLogFooter[] =
    "\n"
    "With every subcommand:\n"
    "  --log-file PATH    write the log of the library to PATH; complete also after Ctrl-C\n"
    "  --log-level LEVEL  verbose, info (default), warning or error\n";

const std::map<std::string, kx_utility::LoggingSeverity> kLogLevels = {
    {"verbose", kx_utility::LS_VERBOSE},
    {"info", kx_utility::LS_INFO},
    {"warning", kx_utility::LS_WARNING},
    {"error", kx_utility::LS_ERROR}};

// The options of every subcommand. The log is open before the subcommand runs.
void AddLogOptions(CLI::App& app, const kxrtc_tool::PathOptions& paths,
                   kxrtc_tool::LogFile* log_file) {
  auto path = std::make_shared<std::string>();
  auto level = std::make_shared<kx_utility::LoggingSeverity>(kx_utility::LS_INFO);
  CLI::Option* file_option =
      app.add_option("--log-file", *path, "Write the log of the library to this file");
  file_option->check(kxrtc_tool::FileNameValidator());
  app.add_option("--log-level", *level, "Lowest level of the messages to write (default info)")
      ->transform(kxrtc_tool::NamedValues(kLogLevels))
      ->needs(file_option);
  app.parse_complete_callback([&paths, path, level, log_file] {
    if (path->empty()) return;
    if (const std::string conflict = paths.ConflictOfLog(*path); !conflict.empty()) {
      throw CLI::ValidationError("--log-file", *path + conflict);
    }
    if (log_file->Open(*path, *level)) return;
    throw CLI::ValidationError("--log-file", "cannot write " + *path);
  });
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    command->footer(command->get_footer() + kLogFooter);
  }
}

int Run(int argc, char** argv) {
  int exit_status = kxrtc_tool::kExitOk;
  kxrtc_tool::LogFile log_file;
  kxrtc_tool::PathOptions paths;
  CLI::App app("Makes, inspects and transcodes speaker records.", "kxrtc");
  app.formatter(kxrtc_tool::MakeHelpFormatter());
  app.set_version_flag("-V,--version", "kxrtc " KXRTC_VERSION,
                       "Print the version and exit; kxrtc version tells more");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);

  for (const auto add :
       {kxrtc_tool::AddRecordCommand, kxrtc_tool::AddTranscodeCommand,
        kxrtc_tool::AddEstimateCommand, kxrtc_tool::AddInfoCommand, kxrtc_tool::AddDumpCommand,
        kxrtc_tool::AddVerifyCommand, kxrtc_tool::AddRepairCommand, kxrtc_tool::AddReportCommand,
        kxrtc_tool::AddThumbnailsCommand, kxrtc_tool::AddBundleCommand, kxrtc_tool::AddListCommand,
        kxrtc_tool::AddH264Command, kxrtc_tool::AddEncodersCommand,
        kxrtc_tool::AddVersionCommand}) {
    add(app, &paths, &exit_status);
  }
  kxrtc_tool::AddHelpCommand(app);
  AddLogOptions(app, paths, &log_file);

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
