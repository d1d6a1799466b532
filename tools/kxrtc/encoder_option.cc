#include "tools/kxrtc/encoder_option.h"

#include <CLI/CLI.hpp>
#include <iterator>
#include <vector>

#include "host/mp4/encoder_choice.h"
#include "tools/kxrtc/named_values.h"

namespace kxrtc_tool {
namespace {

[[noreturn]] void RefuseEncoder(const char* why) { throw CLI::ValidationError("--encoder", why); }

}  // namespace

void AddEncoderOption(CLI::App* command, std::string* name) {
  std::vector<std::string> names = {kxrtc_host::kAnyEncoder};
  names.insert(names.end(), std::begin(kxrtc_host::kEncoderNames),
               std::end(kxrtc_host::kEncoderNames));
  command
      ->add_option("--encoder", *name,
                   "The encoder, and no other one; kxrtc encoders lists those that work\n"
                   "here. auto: one of hardware that works, else libx264.\n"
                   "Without this option: h264_nvenc or h264_v4l2m2m where they work,\n"
                   "else libx264")
      ->check(OneOf(names));
}

void CheckEncoderOption(const CLI::App& command, const std::string& name,
                        const kxrtc_host::Mp4SinkWriterOptions& writer, bool prefers_hardware) {
  if (name.empty()) return;
  if (writer.video_mode == kxrtc_host::VideoMode::kCopy) {
    RefuseEncoder("copied pictures are not encoded; leave it out, or use --video encode");
  }
  if (name == kxrtc_host::kSoftwareEncoder) return;
  if (!prefers_hardware) {
    RefuseEncoder("--no-hardware leaves libx264 only; leave one of the two out");
  }
  if (name == kxrtc_host::kAnyEncoder) return;
  if (name == kxrtc_host::kEncoderWithoutQuality && command.count("--quality") > 0) {
    RefuseEncoder("h264_v4l2m2m has no constant quality; use --bit-rate instead of --quality");
  }
  if (command.count("--preset") > 0) {
    RefuseEncoder("--preset is one of libx264; leave it out, or use --encoder libx264");
  }
}

}  // namespace kxrtc_tool
