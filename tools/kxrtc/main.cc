// kxrtc, the command-line tool: makes, looks into and transcodes speaker records (docs/tool.md).
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "tools/kxrtc/dump_command.h"
#include "tools/kxrtc/estimate_command.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/h264_command.h"
#include "tools/kxrtc/info_command.h"
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

int Run(int argc, char** argv) {
  int exit_status = kxrtc_tool::kExitOk;
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

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kxrtc_tool::kExitOk : kxrtc_tool::kExitUsage;
  }
  return exit_status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kxrtc: %s\n", error.what());
    return kxrtc_tool::kExitFailure;
  }
}
