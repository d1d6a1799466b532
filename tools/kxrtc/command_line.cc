#include "tools/kxrtc/command_line.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>

#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/help_text.h"
#include "tools/kxrtc/log_file.h"
#include "tools/kxrtc/named_values.h"
#include "tools/kxrtc/path_options.h"

namespace kxrtc_tool {
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

}  // namespace

void AddSubcommands(CLI::App& app, PathOptions* paths, int* exit_status) {
  app.formatter(MakeHelpFormatter());
  app.set_version_flag("-V,--version", "kxrtc " KXRTC_VERSION,
                       "Print the version and exit; kxrtc version tells more");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);
  for (const auto add :
       {AddRecordCommand, AddTranscodeCommand, AddEstimateCommand, AddInfoCommand, AddDumpCommand,
        AddVerifyCommand, AddRepairCommand, AddReportCommand, AddThumbnailsCommand,
        AddBundleCommand, AddListCommand, AddH264Command, AddEncodersCommand, AddVersionCommand}) {
    add(app, paths, exit_status);
  }
  AddHelpCommand(app);
}

void AddLogOptions(CLI::App& app, const PathOptions& paths, LogFile* log_file) {
  auto path = std::make_shared<std::string>();
  auto level = std::make_shared<kx_utility::LoggingSeverity>(kx_utility::LS_INFO);
  CLI::Option* file_option =
      app.add_option("--log-file", *path, "Write the log of the library to this file");
  file_option->type_name(kFileValue)->check(FileNameValidator());
  app.add_option("--log-level", *level, "Lowest level of the messages to write (default info)")
      ->transform(NamedValues(kLogLevels))
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

}  // namespace kxrtc_tool
