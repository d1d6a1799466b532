#include "tools/kxrtc/report_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "host/output_file.h"
#include "host/record/record_analysis.h"
#include "host/record/record_report.h"
#include "host/shared/link_target.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/file_of_record.h"
#include "tools/kxrtc/report_assets.h"
#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {
namespace {

struct ReportOptions {
  std::string record_dir;
  std::string output;
  std::string video;
};

// Writes the page. A signal that comes meanwhile leaves nothing behind.
ExitStatus WritePage(const std::string& path, const std::string& page) {
  StopSignals signals;
  kxrtc_host::OutputFile output;
  if (!output.Open(path, true)) {
    std::fprintf(stderr, "kxrtc: %s\n", output.error_text().c_str());
    return kExitOutputRefused;
  }
  const bool written = output.WriteAt(0, page.data(), page.size());
  if (signals.IsStopped()) {
    std::fprintf(stderr, "kxrtc: stopped; nothing is written\n");
    return signals.exit_status();
  }
  if (!written || !output.Commit(true)) {
    std::fprintf(stderr, "kxrtc: %s\n", output.error_text().c_str());
    return kExitOutputFailed;
  }
  return kExitOk;
}

ExitStatus Report(const ReportOptions& options) {
  if (IsFileOfRecord(options.record_dir, options.output)) {
    std::fprintf(stderr, "kxrtc: %s is a file of the record itself\n", options.output.c_str());
    return kExitOutputRefused;
  }
  if (!options.video.empty() && kxrtc_host::LeadToSameFile(options.video, options.output)) {
    std::fprintf(stderr, "kxrtc: %s is the video itself\n", options.output.c_str());
    return kExitOutputRefused;
  }
  std::string video_url;
  std::string error;
  if (!options.video.empty() &&
      !kxrtc_host::VideoUrl(options.video, options.output, &video_url, &error)) {
    std::fprintf(stderr, "kxrtc: %s\n", error.c_str());
    return kExitUsage;
  }
  const kxrtc_host::RecordSummary summary = kxrtc_host::AnalyseRecord(options.record_dir, {});
  if (summary.index_records == 0) {
    std::fprintf(stderr, "kxrtc: %s holds no readable record\n", options.record_dir.c_str());
    return kExitRecordUnreadable;
  }
  return WritePage(options.output,
                   RenderReport(summary, {kReportPage, kReportStyle, kReportScript}, video_url));
}

}  // namespace

void AddReportCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<ReportOptions>();
  CLI::App* command = app.add_subcommand("report", "Write an HTML page about a record");
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the record")->required();
  command->add_option("OUT.html", options->output, "Page to write")->required();
  command->add_option("--video", options->video,
                      "MP4 made from the record, to be played beside the timeline");
  command->footer("Example:\n  kxrtc report ~/records/monday monday.html --video monday.mp4\n");
  command->callback([options, exit_status] { *exit_status = Report(*options); });
}

}  // namespace kxrtc_tool
