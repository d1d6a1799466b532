// The option that chooses the encoder.
#ifndef TOOLS_KXRTC_ENCODER_OPTION_H_
#define TOOLS_KXRTC_ENCODER_OPTION_H_

#include <string>

#include "host/mp4/writer_options.h"

namespace CLI {
class App;
}  // namespace CLI

namespace kxrtc_tool {

// --encoder. `name` outlives `command`; it stays empty where nothing is chosen.
void AddEncoderOption(CLI::App* command, std::string* name);

// Refuses, as an error of usage, a choice that contradicts the other options of `command`.
void CheckEncoderOption(const CLI::App& command, const std::string& name,
                        const kxrtc_host::Mp4SinkWriterOptions& writer, bool prefers_hardware);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_ENCODER_OPTION_H_
