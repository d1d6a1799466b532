#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "files/link_target.h"
#include "files/output_file.h"
#include "record/show/record_report.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/examine_record.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/report_assets.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/usage_errors.h"

namespace kxrtc_tool {
namespace {

struct ReportOptions {
  std::string record_dir;
  std::string output;
  std::string video;
  bool anonymous = false;
};

// Writes the page. After a signal there is no page.
ExitStatus WritePage(const std::string& path, const std::string& page) {
  StopSignals signals;
  kxrtc_host::OutputFile output;
  output.set_is_wanted([&signals] { return !signals.IsStopped(); });
  if (!output.Open(path, true)) return Fail(kExitOutputRefused, output.error_text());
  if (!output.WriteAt(0, page.data(), page.size()) || !output.Commit(true)) {
    const bool stopped = output.error_number() == ECANCELED;
    return Fail(stopped ? signals.exit_status() : kExitOutputFailed, output.error_text());
  }
  if (!output.warning_text().empty()) Warn(output.warning_text());
  return kExitOk;
}

// Without FFmpeg there are no pictures.
std::vector<kxrtc_host::FilmPicture> MakePictures(const std::string& record_dir,
                                                  const kxrtc_host::KeyFrameChoice& key_frames,
                                                  int64_t duration_us) {
  const auto frames = key_frames.Spread(kxrtc_host::kMaxFilmPictures, duration_us);
  if (frames.empty()) return {};
  std::string error;
  const kxrtc_host::Media* const media = LoadMedia(&error);
  if (media == nullptr) {
    Warn("the page has no pictures: " + error);
    return {};
  }
  return kxrtc_host::MakeFilmstrip(record_dir, frames, media->MakeThumbnailMaker().get());
}

ExitStatus Report(const ReportOptions& options) {
  const std::string conflict = ConflictWithRecord(options.record_dir, options.output);
  if (!conflict.empty()) return Fail(kExitOutputRefused, options.output + conflict);
  if (!options.video.empty() && kxrtc_host::LeadToSameFile(options.video, options.output)) {
    return Fail(kExitOutputRefused, options.output + " is the video itself");
  }
  kxrtc_host::ReportContents contents;
  std::string error;
  if (!options.video.empty() &&
      !kxrtc_host::VideoUrl(options.video, options.output, &contents.video_url, &error)) {
    return RefuseUsage("report", error, false);
  }
  kxrtc_host::RecordSummary summary;
  kxrtc_host::KeyFrameChoice key_frames;
  kxrtc_host::AnalysisOptions analysis;
  analysis.key_frames = &key_frames;
  if (!ExamineRecord(options.record_dir, SoundExamination::kEveryFrame, &summary, &error,
                     analysis)) {
    return Fail(kExitFailure, error);
  }
  if (summary.index_records == 0) {
    return FailWithoutRecord(options.record_dir);
  }
  contents.anonymous = options.anonymous;
  contents.speakers = kxrtc_host::ReadSpeakerTurns(summary.folder);
  if (!options.anonymous) {
    contents.pictures = MakePictures(options.record_dir, key_frames, summary.replay.duration_us);
  }
  return WritePage(options.output,
                   RenderReport(summary, contents, {kReportPage, kReportStyle, kReportScript}));
}

}  // namespace

void AddReportCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<ReportOptions>();
  CLI::App* command = app.add_subcommand("report", "Write an HTML page about a record");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  paths->AddFile(command, "OUT.html", &options->output, "Page to write");
  CLI::Option* const video = paths->AddFile(command, "--video", &options->video,
                                            "MP4 of the record, played together with the timeline");
  command
      ->add_flag("--anonymous", options->anonymous,
                 "Show \"Speaker 1\" and so on, no pictures, title, date or path")
      ->excludes(video);
  command->footer("Example:\n  kxrtc report ~/records/monday monday.html --video monday.mp4\n");
  command->callback([options, exit_status] { *exit_status = Report(*options); });
}

}  // namespace kxrtc_tool
