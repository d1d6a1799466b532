#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "files/output_file.h"
#include "record/bundle/record_bundle.h"
#include "record/check/damaged_sound.h"
#include "record/index/record_text.h"
#include "record/repair/record_repair.h"
#include "record/show/record_documents.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/examine_record.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/path_options.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/versions.h"

namespace kxrtc_tool {
namespace {

constexpr char kBundleFooter[] =
    "What leaves the machine:\n"
    "  the index and the descriptor: times, sizes and counts\n"
    "  the data files with their lengths: start codes, NAL headers, parameter sets,\n"
    "    slice headers and ADTS headers; every picture, every sound and all text in\n"
    "    between is masked\n"
    "  the speaker timeline: times and dates, and \"Speaker 1\" in place of a name; no\n"
    "    title, no user ids\n"
    "  what kxrtc verify --json says, and the versions of kxrtc and its libraries\n"
    "Nothing else: no other file, no path, no name of a user or machine.\n"
    "Example:\n"
    "  kxrtc bundle ~/records/monday monday.tar.gz\n";

struct BundleOptions {
  std::string record_dir;
  std::string output;
  bool force = false;
};

void PrintPacked(const std::string& path, uint64_t bytes, const kxrtc_host::BundleResult& result) {
  for (const kxrtc_host::PackedFile& file : result.files) {
    std::printf("%-40s  %s\n", file.name.c_str(), kxrtc_host::BytesText(file.bytes).c_str());
  }
  std::printf("%s: %s\n", TerminalText(path).c_str(), kxrtc_host::BytesText(bytes).c_str());
}

// Writes the archive. After a signal there is none.
ExitStatus Pack(const BundleOptions& options, const kxrtc_host::BundleInput& input,
                const kxrtc_host::Media& media) {
  StopSignals signals;
  const kxrtc_host::IsWanted is_wanted = [&signals] { return !signals.IsStopped(); };
  kxrtc_host::OutputFile output;
  output.set_is_wanted(is_wanted);
  if (!output.Open(options.output, options.force)) {
    return Fail(kExitOutputRefused,
                output.error_text() + HintAtForce(options.output, options.force));
  }
  const auto archive = media.MakeArchive(&output);
  const kxrtc_host::BundleResult result = PackRecord(input, is_wanted, archive.get());
  const uint64_t bytes = output.size();
  if (!result.packed || !output.Commit(true)) {
    const std::string& error = result.packed ? output.error_text() : result.error;
    if (signals.signal_number() != 0) return Fail(signals.exit_status(), error);
    return Fail(result.record_failed ? kExitRecordUnreadable : kExitOutputFailed, error);
  }
  PrintPacked(options.output, bytes, result);
  if (!output.warning_text().empty()) Warn(output.warning_text());
  return kExitOk;
}

ExitStatus MakeBundle(const BundleOptions& options) {
  const std::string conflict = ConflictWithRecord(options.record_dir, options.output);
  if (!conflict.empty()) return Fail(kExitOutputRefused, options.output + conflict);
  kxrtc_host::RecordSummary summary;
  kxrtc_host::DamagedSound damaged;
  std::string error;
  kxrtc_host::AnalysisOptions analysis;
  analysis.damaged_sound = &damaged;
  if (!ExamineRecord(options.record_dir, SoundExamination::kEveryFrame, &summary, &error,
                     analysis)) {
    return Fail(kExitFailure, error);
  }
  const kxrtc_host::FileSizes& sizes = summary.sizes;
  if (sizes.index + sizes.video + sizes.audio + sizes.descriptor == 0) {
    return FailWithoutRecord(options.record_dir);
  }
  const kxrtc_host::Media* const media = LoadMedia(&error);
  if (media == nullptr) return Fail(kExitFailure, error);
  kxrtc_host::BundleInput input;
  input.folder = options.record_dir;
  input.summary = &summary;
  input.damaged_sound = &damaged;
  if (MayHelpRepair(summary)) input.preview = kxrtc_host::PreviewRepair(options.record_dir, {});
  input.versions = JsonLine(VersionsDocument(media));
  return Pack(options, input, *media);
}

}  // namespace

void AddBundleCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<BundleOptions>();
  CLI::App* command =
      app.add_subcommand("bundle", "Pack a record for support, without its private content");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  paths->AddFile(command, "OUT.tar.gz", &options->output, "Archive to write");
  command->add_flag("-f,--force", options->force, "Replace OUT.tar.gz if it exists");
  command->footer(kBundleFooter);
  command->callback([options, exit_status] { *exit_status = MakeBundle(*options); });
}

}  // namespace kxrtc_tool
