#include "tools/kxrtc/transcode_command.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>

#include "tools/kxrtc/transcode_run.h"

namespace kxrtc_tool {
namespace {

constexpr char kTranscodeFooter[] =
    "The file appears under its name only when it is complete. Ctrl-C leaves nothing behind.\n"
    "A record that ends early, as after a crash, gives a file of all there is and status 7.\n"
    "\n"
    "Examples:\n"
    "  kxrtc transcode ~/records/monday monday.mp4\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --video copy --force\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --json | jq .percent\n";

const std::map<std::string, kxrtc_host::VideoMode> kVideoModes = {
    {"encode", kxrtc_host::VideoMode::kEncode}, {"copy", kxrtc_host::VideoMode::kCopy}};

}  // namespace

void AddTranscodeCommand(CLI::App& app, int* exit_status) {
  auto options = std::make_shared<TranscodeOptions>();
  CLI::App* command = app.add_subcommand("transcode", "Turn a record into an MP4 file");
  command->add_option("RECORD_DIR", options->record_dir, "Folder of the record")->required();
  command->add_option("OUT.mp4", options->output, "The file to make")->required();
  command
      ->add_option("--video", options->video_mode,
                   "encode: one uniform picture that plays everywhere (default)\n"
                   "copy: the recorded pictures as they are, many times faster")
      ->transform(CLI::CheckedTransformer(kVideoModes).description("encode|copy"));
  command
      ->add_option("--preset", options->preset,
                   "Speed against size of the encoder libx264 (default veryfast)")
      ->check(CLI::IsMember({"ultrafast", "superfast", "veryfast", "faster", "fast", "medium",
                             "slow", "slower", "veryslow"}));
  command->add_flag("--force", options->force, "Replace OUT.mp4 if it exists");
  command->add_flag("--quiet", options->quiet, "Show warnings and errors only");
  command->add_flag("--json", options->json, "Report in lines of JSON on standard output");
  command->add_flag("!--no-hardware", options->prefer_hardware,
                    "Do not try encoders in hardware first");
  command->add_flag("!--no-sync", options->sync,
                    "Do not wait until the file is on the disk before it gets its name");
  command->footer(kTranscodeFooter);
  command->callback([options, exit_status] { *exit_status = TranscodeRun(*options).Run(); });
}

}  // namespace kxrtc_tool
