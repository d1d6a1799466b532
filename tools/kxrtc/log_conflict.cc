#include "tools/kxrtc/log_conflict.h"

#include "host/conference/scenario_reader.h"
#include "host/shared/link_target.h"
#include "tools/kxrtc/file_of_record.h"

namespace kxrtc_tool {
namespace {

// True when the scenario in the file `path` plays `log`. A file that is none plays nothing: its
// command will tell.
bool IsPlayed(const std::string& path, const std::string& log) {
  kxrtc_host::Scenario scenario;
  std::string ignored;
  if (!kxrtc_host::LoadScenario(path, &scenario, &ignored)) return false;
  for (const kxrtc_host::ScenarioParticipant& participant : scenario.participants) {
    for (const auto* medium : {&participant.camera, &participant.share, &participant.microphone}) {
      if (*medium && kxrtc_host::LeadToSameFile((*medium)->source, log)) return true;
    }
  }
  return false;
}

}  // namespace

std::string ConflictOfLog(const CLI::App& app, const std::string& log) {
  for (const CLI::App* command : app.get_subcommands()) {
    for (const CLI::Option* option : command->get_options()) {
      // Options that take any text are paths.
      if (option->empty() || option->get_type_name() != "TEXT") continue;
      const std::string& path = option->results().front();
      if (IsFileOfRecord(path, log)) return " is a file of the record itself";
      if (kxrtc_host::LeadToSameFile(path, log))
        return " is given as " + option->get_name() + " too";
      if (option->get_name() == "SCENARIO" && IsPlayed(path, log)) return " is played by " + path;
    }
  }
  return "";
}

}  // namespace kxrtc_tool
