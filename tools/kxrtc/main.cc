// kxrtc, the command-line tool: makes, looks into and transcodes speaker records (docs/tool.md).
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <string>

#include "tools/kxrtc/dump_command.h"
#include "tools/kxrtc/estimate_command.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/h264_command.h"
#include "tools/kxrtc/info_command.h"
#include "tools/kxrtc/log_conflict.h"
#include "tools/kxrtc/log_file.h"
#include "tools/kxrtc/record_command.h"
#include "tools/kxrtc/repair_command.h"
#include "tools/kxrtc/report_command.h"
#include "tools/kxrtc/transcode_command.h"
#include "tools/kxrtc/verify_command.h"

namespace {

constexpr char kFooter[] =
    "Examples:\n"
    "  kxrtc record talk.json ~/records/monday       play a scripted conference and record it\n"
    "  kxrtc transcode ~/records/monday monday.mp4   make an MP4 of a record\n"
    "  kxrtc estimate ~/records/monday               how large the MP4 will be\n"
    "  kxrtc info ~/records/monday                   what a record holds\n"
    "  kxrtc verify ~/records/monday                 what is wrong with it\n"
    "  kxrtc repair ~/records/monday new-folder      make a torn record whole\n"
    "  kxrtc report ~/records/monday monday.html     all of that as a page\n"
    "  kxrtc h264 ~/records/monday/SpeakeRecord.264  list the NAL units of a stream\n";

constexpr char kLogFooter[] =
    "\n"
    "With every subcommand:\n"
    "  --log-file PATH    write the library's log into PATH, complete also after Ctrl-C\n"
    "  --log-level LEVEL  verbose, info (default), warning or error\n";

const std::map<std::string, kx_utility::LoggingSeverity> kLogLevels = {
    {"verbose", kx_utility::LS_VERBOSE},
    {"info", kx_utility::LS_INFO},
    {"warning", kx_utility::LS_WARNING},
    {"error", kx_utility::LS_ERROR}};

// The options of every subcommand. The log is open before the subcommand runs.
void AddLogOptions(CLI::App& app, kxrtc_tool::LogFile* log_file) {
  auto path = std::make_shared<std::string>();
  auto level = std::make_shared<kx_utility::LoggingSeverity>(kx_utility::LS_INFO);
  CLI::Option* file_option =
      app.add_option("--log-file", *path, "Write the library's log into this file");
  app.add_option("--log-level", *level, "The least severe statements to write (default info)")
      ->transform(CLI::CheckedTransformer(kLogLevels).description("verbose|info|warning|error"))
      ->needs(file_option);
  app.parse_complete_callback([&app, path, level, log_file] {
    if (path->empty()) return;
    if (const std::string conflict = kxrtc_tool::ConflictOfLog(app, *path); !conflict.empty()) {
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
  CLI::App app("Makes, looks into and transcodes speaker records.", "kxrtc");
  app.set_version_flag("--version", "kxrtc " KXRTC_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);

  kxrtc_tool::AddRecordCommand(app, &exit_status);
  kxrtc_tool::AddTranscodeCommand(app, &exit_status);
  kxrtc_tool::AddEstimateCommand(app, &exit_status);
  kxrtc_tool::AddInfoCommand(app, &exit_status);
  kxrtc_tool::AddDumpCommand(app, &exit_status);
  kxrtc_tool::AddVerifyCommand(app, &exit_status);
  kxrtc_tool::AddRepairCommand(app, &exit_status);
  kxrtc_tool::AddReportCommand(app, &exit_status);
  kxrtc_tool::AddH264Command(app, &exit_status);
  AddLogOptions(app, &log_file);

  const std::string first = argc > 1 ? argv[1] : "-";
  if (first[0] != '-' &&
      app.get_subcommands([&](CLI::App* command) { return command->get_name() == first; })
          .empty()) {
    std::fprintf(stderr,
                 "kxrtc: there is no subcommand %s\nRun with --help for more information.\n",
                 first.c_str());
    return kxrtc_tool::kExitUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kxrtc_tool::kExitOk : kxrtc_tool::kExitUsage;
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::fprintf(stderr, "kxrtc: cannot write to standard output\n");
    return kxrtc_tool::kExitOutputFailed;
  }
  return exit_status;
}

}  // namespace

int main(int argc, char** argv) {
  // A limit on the size of files is told like a full disk, by the write that fails.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kxrtc: %s\n", error.what());
    return kxrtc_tool::kExitFailure;
  }
}
