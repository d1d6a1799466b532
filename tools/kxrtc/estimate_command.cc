#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/predict/size_estimate.h"
#include "record/show/record_documents.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/part_options.h"
#include "tools/kxrtc/picture_options.h"

namespace kxrtc_tool {
namespace {

struct EstimateOptions {
  std::string record_dir;
  PictureOptions picture;
  kxrtc_host::PartRequest parts;
  bool json = false;
};

ExitStatus Estimate(const EstimateOptions& options) {
  kxrtc_host::RecordFiles files;
  files.Open(options.record_dir);
  std::string warning;
  const std::optional<uint64_t> size = EstimateMp4Bytes(
      files.descriptor, ResolvePicture(options.picture, options.record_dir, &warning),
      options.parts);
  if (!size) {
    return Fail(kExitRecordUnreadable,
                options.record_dir + " contains no readable record descriptor");
  }
  if (!warning.empty()) Warn(warning);
  if (options.json) {
    Json::Value line = kxrtc_host::Document("kxrtc.estimate");
    line["estimated_bytes"] = Json::UInt64{*size};
    PrintJsonLine(line);
  } else {
    std::printf("%s (%.1f MB), audio not counted\n", kxrtc_host::CountText(*size, "byte").c_str(),
                static_cast<double>(*size) / 1e6);
  }
  return kExitOk;
}

}  // namespace

void AddEstimateCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<EstimateOptions>();
  CLI::App* command =
      app.add_subcommand("estimate", "Estimate the size of the MP4 of a record in encode mode");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  AddPictureOptions(command, &options->picture);
  AddPartOptions(command, &options->parts);
  command->add_flag("-j,--json", options->json, "Print one line of JSON");
  command->footer(
      "About the size that kxrtc transcode makes with the same options. Sound is not\n"
      "counted.\n"
      "Examples:\n  kxrtc estimate ~/records/monday\n"
      "  kxrtc estimate ~/records/monday --size 1920x1080\n");
  command->callback([options, exit_status] {
    CheckPictureOptions(options->picture);
    RefuseEmptyParts(options->parts);
    *exit_status = Estimate(*options);
  });
}

}  // namespace kxrtc_tool
