#include <json/value.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "host/mp4/encoder_choice.h"
#include "record/show/record_documents.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/terminal_text.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::EncoderState;

// What --encoder auto takes; empty: nothing works.
std::string AutomaticChoice(const std::vector<EncoderState>& states) {
  std::vector<std::string> names(std::begin(kxrtc_host::kHardwareEncoders),
                                 std::end(kxrtc_host::kHardwareEncoders));
  names.push_back(kxrtc_host::kSoftwareEncoder);
  for (const std::string& name : names) {
    if (std::any_of(states.begin(), states.end(),
                    [&](const EncoderState& state) { return state.name == name && state.opens; })) {
      return name;
    }
  }
  return "";
}

void PrintStates(const std::vector<EncoderState>& states) {
  for (const EncoderState& state : states) {
    std::string text = state.opens ? "works here" : state.obstacle;
    const std::string start = state.name + " ";
    if (text.rfind(start, 0) == 0) text.erase(0, start.size());
    std::printf("%-14s%s\n", state.name.c_str(), TerminalText(text).c_str());
  }
  const std::string choice = AutomaticChoice(states);
  std::printf("%-14s%s\n", kxrtc_host::kAnyEncoder,
              choice.empty() ? "nothing works here" : ("takes " + choice).c_str());
}

Json::Value EncodersDocument(const std::vector<EncoderState>& states) {
  Json::Value document = kxrtc_host::Document("kxrtc.encoders");
  document["encoders"] = Json::arrayValue;
  for (const EncoderState& state : states) {
    Json::Value encoder;
    encoder["name"] = state.name;
    encoder["works"] = state.opens;
    if (!state.opens) encoder["reason"] = state.obstacle;
    document["encoders"].append(encoder);
  }
  const std::string choice = AutomaticChoice(states);
  if (!choice.empty()) document[kxrtc_host::kAnyEncoder] = choice;
  return document;
}

ExitStatus ListEncoders(bool json) {
  std::string error;
  const kxrtc_host::Media* const media = LoadMedia(&error);
  if (media == nullptr) return Fail(kExitFailure, error);
  const std::vector<EncoderState> states = media->ListEncoders();
  if (json) {
    PrintJsonLine(EncodersDocument(states));
  } else {
    PrintStates(states);
  }
  return kExitOk;
}

}  // namespace

void AddEncodersCommand(CLI::App& app, PathOptions* /*paths*/, int* exit_status) {
  auto json = std::make_shared<bool>(false);
  CLI::App* command =
      app.add_subcommand("encoders", "List the video encoders, and which work on this machine");
  command->add_flag("-j,--json", *json, "Print one line of JSON");
  command->footer(
      "The names are those of kxrtc transcode --encoder. Each encoder is opened once.\n"
      "Example:\n  kxrtc encoders\n");
  command->callback([json, exit_status] { *exit_status = ListEncoders(*json); });
}

}  // namespace kxrtc_tool
